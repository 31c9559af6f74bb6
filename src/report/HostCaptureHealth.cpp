#include "HostCaptureHealth.h"

#include "SwitchClientConnection.h"

HostCaptureHealth::HostCaptureHealth()
{
    SetTitle("System Health");
    ConnectSwitchClient(m_Query);
}

HostCaptureHealth::~HostCaptureHealth()
{
    ReleaseSwitchClient(m_Query);
}

std::string HostCaptureHealth::Render()
{
    return RenderTopLevelFrame();
}
