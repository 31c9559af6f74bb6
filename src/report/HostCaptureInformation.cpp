#include "HostCaptureInformation.h"

#include "CollapsibleComposite.h"
#include "HtmlText.h"
#include "PanelComponent.h"
#include "SwitchClientConnection.h"

#include <arpa/inet.h>

#include <cstdio>
#include <memory>

namespace
{
constexpr uint32_t kOcIpAddress = 0xE108;

// A fold-out section holding one panel; the section keeps its construction status (no icon).
class InformationSection
{
public:
    explicit InformationSection(const char* title) : m_Section(std::make_unique<CollapsibleComposite>())
    {
        m_Section->SetTitle(title);
    }

    // A line whose value came from the daemon; an empty value is dropped by the panel.
    void AddDaemonValue(const std::string& title, const std::string& value)
    {
        m_Panel->AddValue(title, HtmlText::FromDaemon(value));
    }

    void AddTo(HTMLComposite& parent)
    {
        m_Section->Add(m_Panel.release());
        parent.Add(m_Section.release());
    }

private:
    std::unique_ptr<CollapsibleComposite> m_Section;
    std::unique_ptr<PanelComponent> m_Panel = std::make_unique<PanelComponent>();
};

std::string FormatIpv4(const std::vector<uint8_t>& bytes)
{
    char buffer[20];
    snprintf(buffer, sizeof buffer, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
    return buffer;
}

std::string FormatIpv6(const std::vector<uint8_t>& bytes)
{
    char buffer[62];
    if (inet_ntop(AF_INET6, bytes.data(), buffer, sizeof buffer))
        return buffer;
    return HostCaptureInformation::FormatIpv6Fallback(bytes.data());
}
} // namespace

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
    InformationSection system("System");
    system.AddDaemonValue("Model", m_Query.GetSystemModel());
    system.AddDaemonValue("Serial Number", m_Query.GetSystemSerialNumber());
    system.AddDaemonValue("Chassis ID", m_Query.GetChassisId());
    system.AddDaemonValue("Asset Tag", m_Query.GetAssetTag());
    system.AddDaemonValue("UUID", m_Query.GetSystemUuid());
    system.AddDaemonValue("Power On Duration", FormatDuration(m_Query.GetPowerOnDuration()));
    system.AddTo(*this);

    InformationSection board("System Board");
    board.AddDaemonValue("Serial Number", m_Query.GetBoardSerialNumber());
    board.AddDaemonValue("Ident Number", m_Query.GetBoardIdentNumber());
    board.AddDaemonValue("BIOS Version", m_Query.GetBiosVersion());
    board.AddTo(*this);

    InformationSection os("Operating System");
    os.AddDaemonValue("Name", m_Query.GetOsName());
    os.AddDaemonValue("Uptime", FormatDuration(m_Query.GetOsUptime()));
    os.AddDaemonValue("Host Name", m_Query.GetHostName());
    const std::vector<std::string> addresses = GetIpAddresses(m_Query);
    if (!addresses.empty())
        os.AddDaemonValue("IP Address", addresses.front());
    if (addresses.size() >= 2)
        os.AddDaemonValue("", addresses.back());
    os.AddTo(*this);

    InformationSection software("System Management Software");
    software.AddDaemonValue(GetServiceDisplayName(m_Query), m_Query.GetManagementSoftwareVersion());
    software.AddTo(*this);

    // Everything is read: a large last answer need not stay while the rest of the page is built.
    m_Query.Request().DropLargeReply();
    return RenderTopLevelFrame();
}

std::string HostCaptureInformation::FormatDuration(uint32_t seconds)
{
    const uint32_t days = seconds / 86400;
    const uint32_t hours = seconds % 86400 / 3600;
    const uint32_t minutes = seconds % 86400 % 3600 / 60;

    // No singular forms and the blanks fall where they fall: "1 days ", "3 hours 5 minutes".
    std::string text;
    char number[16];
    if (days != 0)
    {
        snprintf(number, sizeof number, "%d", static_cast<int>(days));
        text += number;
        text += " days ";
    }
    if (hours != 0)
    {
        snprintf(number, sizeof number, "%d", static_cast<int>(hours));
        text += number;
        text += " hours ";
    }
    if (minutes != 0)
    {
        snprintf(number, sizeof number, "%d", static_cast<int>(minutes));
        text += number;
        text += " minutes";
    }
    return text;
}

std::vector<std::string> HostCaptureInformation::GetIpAddresses(CConfigSpaceQuery& query)
{
    std::vector<std::string> addresses;
    for (const uint32_t extension : {0u, 1u})
    {
        std::vector<uint8_t> bytes;
        if (!query.GetRaw(bytes, kOcIpAddress, extension, 0))
            continue;
        if (bytes.size() == 4)
            addresses.push_back(FormatIpv4(bytes));
        else if (bytes.size() == 16)
            addresses.push_back(FormatIpv6(bytes));
        else
            addresses.emplace_back(); // unknown form: an empty entry, which the panel drops
    }
    return addresses;
}

std::string HostCaptureInformation::GetServiceDisplayName(const CConfigSpaceQuery& query)
{
    if (query.ServicePath().find("tmqdx") != std::string::npos)
        return "Tessmark Quorum Data Exchange";
    return "Unknown Tessmark Service";
}

std::string HostCaptureInformation::FormatIpv6Fallback(const uint8_t bytes[16])
{
    std::string text;
    char piece[8];
    for (int i = 0; i < 16; ++i)
    {
        const uint8_t byte = bytes[i];
        if (i % 2 == 0)
        {
            if (byte != 0)
                snprintf(piece, sizeof piece, i == 0 ? "%x" : ":%x", byte);
            else
                snprintf(piece, sizeof piece, "%s", i == 0 ? "" : ":");
        }
        else
        {
            const bool bothNonZero = byte != 0 && bytes[i - 1] != 0;
            snprintf(piece, sizeof piece, bothNonZero ? "%02x" : "%x", byte);
        }
        text += piece;
    }
    if (text == "0:0:0:0:0:0:0:0")
        return "::";
    if (text == "0:0:0:0:0:0:0:1")
        return "::1";
    return text;
}
