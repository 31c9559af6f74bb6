#include "HTMLComposite.h"

HTMLComposite::~HTMLComposite()
{
    for (HTMLComponent* child : m_Children)
        delete child;
}

void HTMLComposite::Add(HTMLComponent* child)
{
    if (child != nullptr)
        m_Children.push_back(child);
}

void HTMLComposite::SetTitle(const std::string& title)
{
    m_Title = title;
}

std::string HTMLComposite::Render()
{
    return RenderChildren();
}

std::string HTMLComposite::RenderChildren()
{
    std::string out;
    AppendChildren(out);
    return out;
}

void HTMLComposite::AppendChildren(std::string& out)
{
    for (HTMLComponent* child : m_Children)
        out += child->Render();
}

std::string HTMLComposite::RenderTopLevelFrame()
{
    std::string out = "\n  <button type=\"button\" class=\"title-text title-line\">";
    out += m_Title;
    out += "</button>\n  <div class=\"content-main\">";
    AppendChildren(out);
    out += "\n  </div>";
    return out;
}
