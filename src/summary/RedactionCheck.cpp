#include "RedactionCheck.h"

#include "HtmlEscape.h"

#include <cctype>

namespace
{
std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool Continues(const std::string& text, size_t at, size_t beyond)
{
    unsigned char c = text[at];
    if (std::isalnum(c) || c == '_' || c == '-' || c >= 0x80)
        return true;
    return c == '.' && beyond < text.size() && std::isdigit(static_cast<unsigned char>(text[beyond]));
}

bool StandsAlone(const std::string& text, size_t at, size_t length)
{
    bool before = at == 0 || !Continues(text, at - 1, at >= 2 ? at - 2 : text.size());
    bool after = at + length >= text.size() || !Continues(text, at + length, at + length + 1);
    return before && after;
}

// Blanks out the contents of style and script elements, which are the page's own code.
std::string WithoutCode(const std::string& lower)
{
    std::string text = lower;
    for (const std::string element : {"style", "script"})
        for (size_t open = text.find("<" + element); open != std::string::npos;
             open = text.find("<" + element, open + 1))
        {
            size_t close = text.find("</" + element, open);
            size_t end = close == std::string::npos ? text.size() : close;
            for (size_t i = open + element.size() + 1; i < end; ++i)
                text[i] = ' ';
        }
    return text;
}
} // namespace

namespace RedactionCheck
{
std::vector<std::string> Notations(const RedactionKey::Token& token)
{
    std::vector<std::string> forms = {Lower(token.Value), Lower(HtmlEscape(token.Value))};
    std::string normal = RedactionKey::Normalized(token.Kind, token.Value);
    if (token.Kind == "mac" && normal.size() == 12)
    {
        std::string colons, dashes, dots;
        for (size_t i = 0; i < 12; i += 2)
        {
            colons += (i ? ":" : "") + normal.substr(i, 2);
            dashes += (i ? "-" : "") + normal.substr(i, 2);
        }
        dots = normal.substr(0, 4) + "." + normal.substr(4, 4) + "." + normal.substr(8, 4);
        forms.insert(forms.end(), {normal, colons, dashes, dots});
    }
    else
        forms.push_back(normal);
    return forms;
}

std::vector<std::string> Remaining(const std::string& text, const RedactionKey& key,
                                   const std::set<size_t>& tokens)
{
    std::string searched = WithoutCode(Lower(text));
    std::vector<std::string> found;
    for (size_t index : tokens)
    {
        if (index >= key.Tokens().size())
            continue;
        const RedactionKey::Token& token = key.Tokens()[index];
        for (const std::string& form : Notations(token))
        {
            bool hit = false;
            for (size_t at = searched.find(form); !form.empty() && at != std::string::npos && !hit;
                 at = searched.find(form, at + 1))
                hit = StandsAlone(searched, at, form.size());
            if (hit)
            {
                found.push_back(token.Value);
                break;
            }
        }
    }
    return found;
}
} // namespace RedactionCheck
