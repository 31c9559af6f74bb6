#include "HostCaptureInformation.h"

#include "SwitchClientConnection.h"

HostCaptureInformation::HostCaptureInformation()
{
    ConnectSwitchClient(m_Query);
    SetTitle("System Information");
}

HostCaptureInformation::~HostCaptureInformation()
{
    ReleaseSwitchClient(m_Query);
}

std::string HostCaptureInformation::Render()
{
    return RenderTopLevelFrame();
}
