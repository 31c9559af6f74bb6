#include "CollapsibleComposite.h"

const char* CollapsibleComposite::HeaderClass(ReportStatus status)
{
    // Unlike a table row, a header without a known status shows no icon at all.
    switch (status)
    {
    case StatusUnknown:
        return " status-unknown";
    case StatusNormal:
        return " status-normal";
    case StatusWarning:
        return " status-warning";
    case StatusError:
        return " status-error";
    case StatusMajor:
        return " status-major";
    default:
        return "";
    }
}

void CollapsibleComposite::SetStatus(ReportStatus status)
{
    m_Status = status;
}

std::string CollapsibleComposite::Render()
{
    std::string out = "\n    <button type=\"button\" class=\"collapsible title-text";
    out += HeaderClass(m_Status);
    out += "\">";
    out += m_Title;
    out += "</button>\n    <div class=\"content\">";
    AppendChildren(out);
    out += "\n    </div>";
    return out;
}
