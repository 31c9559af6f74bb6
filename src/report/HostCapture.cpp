#include "HostCapture.h"

#include "HostCaptureHealth.h"
#include "HostCaptureInformation.h"
#include "PageTextBudget.h"
#include "ReportTemplate.h"

HostCapture::~HostCapture() = default;

std::string HostCapture::Render()
{
    SetTitle("Host Capture");
    PageTextBudget::Start();

    // The health block attaches in its constructor; the information section queries while it
    // renders. Both share the one reference-counted connection.
    Add(new HostCaptureInformation());
    Add(new HostCaptureHealth());

    const std::string date = ReportTemplate::FormatReportDate();

    std::string page;
    page.reserve(64 * 1024);
    page += ReportTemplate::Head();
    page += m_Title;
    page += ReportTemplate::AfterTitle;
    page += date;
    page += ReportTemplate::AfterDate;
    AppendChildren(page);
    page += ReportTemplate::Tail();
    return page;
}
