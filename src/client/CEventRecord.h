#pragma once

#include <cstdint>

class CObraRequest;

// One event pushed by the daemon, as read from the event document's command slot.
struct CEventRecord
{
    uint32_t OC = 0;
    uint32_t OE = 0;
    uint32_t Cab = 0;
    uint32_t OId = 0;
    uint32_t Status = 22;
    bool HasReplyData = false;
    // The whole event document, valid for the duration of the callback.
    const CObraRequest* Document = nullptr;
};
