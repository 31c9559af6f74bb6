#pragma once

#include "HTMLComposite.h"

#include <string>

// The report document: the root of the tree, rendering one complete, self-contained HTML page
// (style sheet, status icons and fold-out script inside). Render is called once per object:
// each call adds the information section and the health block anew.
class HostCapture : public HTMLComposite
{
public:
    HostCapture() = default;
    ~HostCapture() override;
    std::string Render() override;
};
