#pragma once

#include "HTMLComponent.h"

#include <string>
#include <vector>

// A component that owns children and has a title; it renders as its children, in the order added.
class HTMLComposite : public HTMLComponent
{
public:
    HTMLComposite() = default;
    ~HTMLComposite() override;
    HTMLComposite(const HTMLComposite&) = delete;
    HTMLComposite& operator=(const HTMLComposite&) = delete;

    void Add(HTMLComponent* child) override;
    void SetTitle(const std::string& title) override;
    std::string GetTitle() const { return m_Title; }
    std::string Render() override;

protected:
    std::string RenderChildren();
    // The frame of a top-level section: a header line with the title, then the children.
    std::string RenderTopLevelFrame();
    // Appends every child's rendering to out (the hot path avoids a copy per level).
    void AppendChildren(std::string& out);

    std::vector<HTMLComponent*> m_Children;
    std::string m_Title;
};
