#pragma once

#include "CConfigSpaceQuery.h"
#include "HTMLComposite.h"

#include <string>
#include <vector>

// "System Information": identity of the server, its board, its operating system and the
// management software, each a fold-out section with title/value lines read from the daemon.
class HostCaptureInformation : public HTMLComposite
{
public:
    HostCaptureInformation();           // connects its query object
    ~HostCaptureInformation() override; // releases it
    std::string Render() override;

    static std::string FormatDuration(uint32_t seconds);
    static std::vector<std::string> GetIpAddresses(CConfigSpaceQuery& query);
    static std::string GetServiceDisplayName(const CConfigSpaceQuery& query);
    // Text of a 16-byte IPv6 address built by hand (used when inet_ntop fails).
    static std::string FormatIpv6Fallback(const uint8_t bytes[16]);

private:
    CConfigSpaceQuery m_Query;
};
