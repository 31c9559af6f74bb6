#pragma once

#include "HTMLComponent.h"

#include <string>
#include <utility>
#include <vector>

// A list of title/value lines. Lines with an empty value are not added, so unknown values vanish.
class PanelComponent : public HTMLComponent
{
public:
    void AddValue(const std::string& title, const std::string& value) override;
    std::string Render() override;
    size_t LineCount() const { return m_Lines.size(); }

private:
    std::vector<std::pair<std::string, std::string>> m_Lines;
};
