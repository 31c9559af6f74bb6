#include "PanelComponent.h"

void PanelComponent::AddValue(const std::string& title, const std::string& value)
{
    // Values the daemon could not deliver come back empty; leaving the line out keeps the panel
    // free of blank entries.
    if (value.empty())
        return;
    m_Lines.emplace_back(title, value);
}

std::string PanelComponent::Render()
{
    std::string out = "\n      <div class=\"status-table panel-body\">";
    for (const auto& line : m_Lines)
    {
        out += "\n        <div class=\"row\">\n          <div class=\"title\">";
        out += line.first;
        out += "</div>\n          <div class=\"value\">";
        out += line.second;
        out += "</div>\n        </div>";
    }
    out += "\n      </div>";
    return out;
}
