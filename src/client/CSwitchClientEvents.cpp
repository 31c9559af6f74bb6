// Event side of the client. For now only the callback registrations are kept; the event channel
// and its thread are not there yet, so enabling events is traced and refused.
#include "CSwitchClient.h"

#include "CDebug.h"

void CSwitchClient::EnableEvents(bool enable)
{
    pthread_mutex_lock(&m_EventsMutex);
    if (enable)
        EnableEventsLocked();
    else
        DisableEventsLocked();
    pthread_mutex_unlock(&m_EventsMutex);
}

void CSwitchClient::RegisterEventCallback(uint64_t key, EventCallback callback)
{
    m_CallbackMap.Insert(key, std::move(callback));
}

bool CSwitchClient::UnregisterEventCallback(uint64_t key)
{
    return m_CallbackMap.Erase(key);
}

bool CSwitchClient::EnableEventsLocked()
{
    g_Debug.Print(1, "JsonEnableEvents: WARNING: events are not available yet - not enabled\n");
    return false;
}

void CSwitchClient::DisableEventsLocked()
{
    m_EventsEnabled = false;
}
