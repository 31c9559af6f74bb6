#pragma once

#include "HTMLComposite.h"

// A fold-out section: a header button coloured by its status, above a content block that the
// page's script opens and closes.
class CollapsibleComposite : public HTMLComposite
{
public:
    void SetStatus(ReportStatus status) override;
    ReportStatus GetStatus() const { return m_Status; }
    std::string Render() override;

    // The class text of a header for a status (" status-normal", or empty for no icon).
    static const char* HeaderClass(ReportStatus status);

private:
    ReportStatus m_Status = StatusNotPresent;
};
