#pragma once

#include "CConfigSpaceQuery.h"
#include "HTMLComposite.h"

#include <string>

// "System Health": the component groups with their sub-sections and tables, and the system event
// log, each section coloured by the status the daemon reports for it.
class HostCaptureHealth : public HTMLComposite
{
public:
    HostCaptureHealth();           // connects its query object
    ~HostCaptureHealth() override; // releases it
    std::string Render() override;

private:
    CConfigSpaceQuery m_Query;
};
