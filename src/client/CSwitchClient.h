#pragma once

#include "CCallbackMap.h"
#include "CObraClientIf.h"
#include "CObraRequest.h"
#include "CThread.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <string>

// The program's client of the local management daemon qmxd: finds out whether the daemon is
// installed and ready, attaches with a reference count, exchanges OBRA documents over the JSON
// request channel and, when asked, receives events on a thread of its own.
class CSwitchClient : public CObraClientIf
{
public:
    CSwitchClient();
    ~CSwitchClient() override;
    CSwitchClient(const CSwitchClient&) = delete;
    CSwitchClient& operator=(const CSwitchClient&) = delete;

    // CObraClientRequestIf
    bool Attach(const char* serverName) override;
    void Detach() override;
    uint32_t Request(CObraRequest& request, uint32_t timeout) override;
    bool RequestCabinetNumber(uint32_t& cabinetNumber) override;
    bool SetApplicationName(const char* name) override;
    bool IsInterfaceSupported(const char* name) override;
    bool GetInterfaceName(std::string& name) override;
    uint32_t GetLastErrorCode() override;
    void GetLastErrorText(std::string& text) override;

    // CObraClientEventIf
    void EnableEvents(bool enable) override;
    void RegisterEventCallback(uint64_t key, EventCallback callback) override;
    bool UnregisterEventCallback(uint64_t key) override;

    // Detach steps for the last reference without taking the client mutex (the release routine
    // of the report run): drops one reference and, at zero, disables events and closes the channel.
    void DetachWithoutLock();

    bool IsServiceInstalled(const std::string& path);
    bool IsServiceRunning(const std::string& servicePath);

    // The logical path of the installed daemon front-end ("/opt/TessmarkQDX/bin/tmqdx"), empty
    // until found. Stat calls map it through SysPath.
    const std::string& GetServicePath() const { return m_ServicePath; }
    const std::string& GetApplicationName() const { return m_ApplicationName; }
    uint32_t GetAttachCount() const { return m_AttachCount; }
    int GetRequestChannel() const { return m_FdRequestChannel; }
    bool AreEventsEnabled() const { return m_EventsEnabled; }
    bool IsEventThreadRunning() const { return m_ThreadRunning; }
    int GetEventChannel() const { return m_FdEventChannel; }
    // Code 0, "NO ERROR": the connect routine starts every attempt from it.
    void ClearLastError() { SetLastError(0); }

private:
    // The code and its fixed text, set by the attach steps.
    void SetLastError(uint32_t code);

    // Attach side (CSwitchClientAttach.cpp), called with the client mutex held.
    bool AttachFirstReference();
    bool FindInstalledService();
    bool WaitForServiceAndOpenChannel();

    // Event side (CSwitchClientEvents.cpp, CSwitchClientEventThread.cpp), called with the
    // events mutex held, apart from the thread's own functions.
    void EnableEventsLocked();
    void DisableEventsLocked();
    void WaitForEventThreadEnd();
    static void* ThreadEventMainTrampoline(void* context);
    void ThreadEventMain(const std::string& clientName, const std::string& servicePath);
    bool ReregisterForEvents(const char* clientName, const std::string& servicePath, int terminateFd);
    bool PublishEventChannel(int fd);
    void DispatchEvent(const CObraRequest& event);

    int m_FdRequestChannel = -1;
    uint32_t m_AttachCount = 0;
    std::string m_ApplicationName;
    std::string m_ServicePath;
    pthread_mutex_t m_ClientMutex;
    uint32_t m_LastErrorCode = 0;
    const char* m_LastErrorText;

    // The descriptors are shared with the event thread, which may still be on its way out while
    // a disable closes them: whoever closes one takes it with exchange(-1) first.
    std::atomic<int> m_FdEventChannel{-1};
    std::atomic<int> m_TerminationPipe[2] = {{-1}, {-1}};
    std::atomic<bool> m_EventsEnabled{false};
    // Set from the start of the thread until its very end (the start is marked before the thread
    // is created, so a disable right after an enable cannot miss it).
    std::atomic<bool> m_ThreadRunning{false};
    // Asked to end: the thread checks it wherever it could otherwise go on with closed descriptors.
    std::atomic<bool> m_EventThreadStop{false};
    // Set by a disable just before it takes the event channel: a channel that the thread
    // publishes after that would never be closed, so the thread takes it back itself.
    std::atomic<bool> m_EventChannelTaken{false};
    // Read end of a pipe whose write end the thread closes as its very last act, so that a
    // disable waits for the end of the thread instead of sleeping in fixed steps.
    int m_ThreadEndedFd = -1;
    CThread m_EventThread;
    pthread_mutex_t m_EventsMutex;
    CCallbackMap m_CallbackMap;
};
