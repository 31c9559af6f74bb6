#pragma once

#include "CEventRecord.h"

#include <cstdint>
#include <functional>

class CObraClientIf;

// A notification callback receives the event, the client that read it (so that it can query or
// change its registrations) and the key under which it was registered (so that one function can
// serve several registrations and find its own).
using EventCallback = std::function<void(const CEventRecord& event, CObraClientIf& client, uint64_t key)>;

// The event side of an OBRA client.
class CObraClientEventIf
{
public:
    virtual ~CObraClientEventIf() = default;

    virtual void EnableEvents(bool enable) = 0;
    virtual void RegisterEventCallback(uint64_t key, EventCallback callback) = 0;
    // True when the key was registered.
    virtual bool UnregisterEventCallback(uint64_t key) = 0;
    virtual void Reserved15() {}
};
