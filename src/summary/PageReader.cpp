#include "PageReader.h"

#include "ReadFully.h"
#include "ReportTemplate.h"
#include "SafeOpen.h"
#include "TerminalText.h"

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char kBlockInformation[] = "System Information";
const char kBlockHealth[] = "System Health";
const char kPageTitle[] = "Host Capture";
// Real pages nest two levels deep; anything deeper is not ours and must not drive the recursion.
const int kMaxLevel = 6;
// HostCapture's own pages stay far below this (a large server gives a few MiB); a bigger file is
// not a report of one server, and parsing it would cost many times its size in memory.
const size_t kMaxPageBytes = 64u << 20;

bool IsElement(const xmlNode* node, const char* name)
{
    return node && node->type == XML_ELEMENT_NODE && node->name &&
           std::strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

std::string Attribute(const xmlNode* node, const char* name)
{
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    if (!value)
        return {};
    std::string text(reinterpret_cast<const char*>(value));
    xmlFree(value);
    return text;
}

bool HasClassWord(const xmlNode* node, const std::string& word)
{
    std::istringstream words(Attribute(node, "class"));
    std::string w;
    while (words >> w)
        if (w == word)
            return true;
    return false;
}

std::string Text(const xmlNode* node)
{
    xmlChar* content = xmlNodeGetContent(node);
    if (!content)
        return {};
    std::string text(reinterpret_cast<const char*>(content));
    xmlFree(content);
    return text;
}

const xmlNode* NextElement(const xmlNode* node)
{
    for (node = node->next; node; node = node->next)
        if (node->type == XML_ELEMENT_NODE)
            return node;
    return nullptr;
}

const xmlNode* FirstChildElement(const xmlNode* node, const char* name)
{
    for (const xmlNode* child = node->children; child; child = child->next)
        if (IsElement(child, name))
            return child;
    return nullptr;
}

PageTable ReadTable(const xmlNode* table)
{
    PageTable result;
    for (const xmlNode* part = table->children; part; part = part->next)
    {
        if (!IsElement(part, "thead") && !IsElement(part, "tbody"))
            continue;
        for (const xmlNode* tr = part->children; tr; tr = tr->next)
        {
            if (!IsElement(tr, "tr"))
                continue;
            if (IsElement(part, "thead"))
            {
                for (const xmlNode* th = tr->children; th; th = th->next)
                    if (IsElement(th, "th"))
                        result.Headings.push_back(Text(th));
                continue;
            }
            PageRow row;
            bool head = true;
            for (const xmlNode* td = tr->children; td; td = td->next)
            {
                if (!IsElement(td, "td"))
                    continue;
                if (head)
                {
                    std::string classes = Attribute(td, "class");
                    row.Status = PageReader::StatusOfClass(classes);
                    row.StatusRead = PageReader::HasStatusWord(classes);
                    row.Text = Text(td);
                    head = false;
                }
                else
                    row.Cells.push_back(Text(td));
            }
            if (!head)
                result.Rows.push_back(std::move(row));
        }
    }
    return result;
}

void ReadPanel(const xmlNode* panel, PageSection& section)
{
    for (const xmlNode* row = panel->children; row; row = row->next)
    {
        if (!IsElement(row, "div") || !HasClassWord(row, "row"))
            continue;
        std::string title, value;
        for (const xmlNode* cell = row->children; cell; cell = cell->next)
        {
            if (!IsElement(cell, "div"))
                continue;
            if (HasClassWord(cell, "title"))
                title = Text(cell);
            else if (HasClassWord(cell, "value"))
                value = Text(cell);
        }
        section.Lines.emplace_back(std::move(title), std::move(value));
    }
}

// Walks the children of a section frame or of a section's content: tables and panels belong to
// the section that holds them (owner, an index into page.Sections, -1 for a frame; group is a
// copy, since adding sections moves the one it came from), and every
// fold-out button opens a section whose content is the element after it.
void ReadContent(const xmlNode* container, const std::string& block, const std::string group, int level,
                 int owner, HostPage& page)
{
    for (const xmlNode* node = container->children; node; node = node->next)
    {
        if (node->type != XML_ELEMENT_NODE)
            continue;
        if (IsElement(node, "button") && HasClassWord(node, "collapsible"))
        {
            if (level > kMaxLevel)
                continue;
            PageSection section;
            section.Block = block;
            section.Title = Text(node);
            section.Group = level == 1 ? section.Title : group;
            section.Level = level;
            std::string classes = Attribute(node, "class");
            section.Status = PageReader::StatusOfClass(classes);
            section.StatusRead = PageReader::HasStatusWord(classes);
            page.Sections.push_back(std::move(section));
            int index = static_cast<int>(page.Sections.size()) - 1;
            const xmlNode* content = NextElement(node);
            if (content && IsElement(content, "div") && HasClassWord(content, "content"))
            {
                ReadContent(content, block, page.Sections[index].Group, level + 1, index, page);
                node = content;
            }
        }
        else if (owner >= 0 && IsElement(node, "table"))
            page.Sections[owner].Tables.push_back(ReadTable(node));
        else if (owner >= 0 && IsElement(node, "div") && HasClassWord(node, "status-table"))
            ReadPanel(node, page.Sections[owner]);
    }
}

std::string LineOf(const HostPage& page, const char* section, const char* title)
{
    for (const PageSection& s : page.Sections)
        if (s.Block == kBlockInformation && s.Title == section)
            for (const auto& line : s.Lines)
                if (line.first == title)
                    return line.second;
    return {};
}

void FillIdentity(HostPage& page)
{
    HostIdentity& id = page.Identity;
    id.Model = LineOf(page, "System", "Model");
    id.SerialNumber = LineOf(page, "System", "Serial Number");
    id.HostName = LineOf(page, "Operating System", "Host Name");
    id.OperatingSystem = LineOf(page, "Operating System", "Name");
    // The second address is a line without a title right after the first.
    for (const PageSection& s : page.Sections)
    {
        if (s.Block != kBlockInformation || s.Title != "Operating System")
            continue;
        bool afterAddress = false;
        for (const auto& line : s.Lines)
        {
            if (line.first == "IP Address" || (afterAddress && line.first.empty()))
            {
                id.Addresses.push_back(line.second);
                afterAddress = true;
            }
            else
                afterAddress = false;
        }
    }
}

bool EndsLikeAPage(const std::string& bytes)
{
    size_t end = bytes.find_last_not_of(" \t\r\n");
    static const std::string tail = "</html>";
    return end != std::string::npos && end + 1 >= tail.size() &&
           bytes.compare(end + 1 - tail.size(), tail.size(), tail) == 0;
}

bool Fail(HostPage& page, const std::string& why)
{
    page.Readable = false;
    page.Problem = why;
    page.Sections.clear();
    page.Identity = HostIdentity();
    return false;
}

bool ReadDocument(const xmlNode* root, HostPage& page)
{
    const xmlNode* body = root ? FirstChildElement(root, "body") : nullptr;
    if (!body)
        return Fail(page, "not a HostCapture page: no page body");
    bool titled = false, information = false, health = false;
    std::string block;
    for (const xmlNode* node = body->children; node; node = node->next)
    {
        if (IsElement(node, "div") && HasClassWord(node, "title-app"))
        {
            const xmlNode* h2 = FirstChildElement(node, "h2");
            const xmlNode* h3 = FirstChildElement(node, "h3");
            titled = h2 && Text(h2) == kPageTitle;
            page.Identity.TimeStamp = h3 ? Text(h3) : std::string();
        }
        else if (IsElement(node, "button") && HasClassWord(node, "title-line"))
            block = Text(node);
        else if (IsElement(node, "div") && HasClassWord(node, "content-main"))
        {
            if (block != kBlockInformation && block != kBlockHealth)
                continue;
            (block == kBlockInformation ? information : health) = true;
            ReadContent(node, block, std::string(), 1, -1, page);
        }
    }
    if (!titled)
        return Fail(page, "not a HostCapture page: no \"Host Capture\" title");
    if (!information || !health)
        return Fail(
            page, "not a HostCapture page: the \"System Information\" or \"System Health\" block is missing");
    FillIdentity(page);
    page.Readable = true;
    return true;
}
} // namespace

namespace PageReader
{
namespace
{
const struct
{
    const char* Word;
    ReportStatus Status;
} kWords[] = {{"status-unknown", StatusUnknown},        {"status-normal", StatusNormal},
              {"status-warning", StatusWarning},        {"status-error", StatusError},
              {"status-not-present", StatusNotPresent}, {"status-major", StatusMajor}};

const ReportStatus* FindStatusWord(const std::string& classAttribute)
{
    std::istringstream words(classAttribute);
    std::string w;
    while (words >> w)
        for (const auto& known : kWords)
            if (w == known.Word)
                return &known.Status;
    return nullptr;
}

bool EndsWith(const std::string& text, const std::string& tail)
{
    return text.size() > tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// A marker is small text written by the playbook: "host: NAME" and "reason: TEXT" lines. The
// reason may quote a failed host's standard error, so its control characters go here already.
void ReadMarker(const std::string& bytes, HostPage& page)
{
    Fail(page, "the collection run produced no page");
    page.RunFailed = true;
    std::istringstream lines(bytes.substr(0, 4096));
    std::string line;
    while (std::getline(lines, line))
    {
        if (line.compare(0, 6, "host: ") == 0)
            page.Identity.HostName = TerminalText::Safe(line.substr(6));
        else if (line.compare(0, 8, "reason: ") == 0 && line.size() > 8)
            page.Problem = "collection run failed: " + TerminalText::Safe(line.substr(8));
    }
}
} // namespace

ReportStatus StatusOfClass(const std::string& classAttribute)
{
    const ReportStatus* status = FindStatusWord(classAttribute);
    return status ? *status : StatusNotPresent;
}

bool HasStatusWord(const std::string& classAttribute)
{
    return FindStatusWord(classAttribute) != nullptr;
}

const std::string& PageOpening()
{
    // The page's fixed start, up to its first style rule: enough to tell a HostCapture page from
    // any other HTML (an overview, a browser's saved page) without reading it.
    static const std::string opening = []
    {
        const std::string& head = ReportTemplate::Head();
        size_t rule = head.find('{');
        return head.substr(0, rule == std::string::npos ? std::min<size_t>(head.size(), 64) : rule + 1);
    }();
    return opening;
}

bool IsForeign(const std::string& opening)
{
    const std::string& ours = PageOpening();
    size_t compared = std::min(opening.size(), ours.size());
    // Empty or short files are cut pages, not foreign ones: they count as unreadable.
    return opening.compare(0, compared, ours, 0, compared) != 0;
}

bool ReadPage(const std::string& bytes, HostPage& page)
{
    page.Sections.clear();
    page.Identity = HostIdentity();
    page.RunFailed = false;
    page.RunCut = false;
    page.Foreign = false;
    page.Problem.clear();
    if (bytes.empty())
        return Fail(page, "empty file, not a HostCapture page");
    if (bytes.size() > kMaxPageBytes || bytes.size() > static_cast<size_t>(INT32_MAX))
        return Fail(page, "too large for a HostCapture page");
    if (bytes.compare(0, 15, "<!DOCTYPE html>") != 0)
        return Fail(page, "not a HostCapture page: it does not begin with <!DOCTYPE html>");
    if (!EndsLikeAPage(bytes))
        return Fail(page, "cut off: the page ends before its closing </html>");
    htmlDocPtr doc = htmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, "UTF-8",
                                    HTML_PARSE_NONET | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                                        HTML_PARSE_NOBLANKS | HTML_PARSE_COMPACT);
    if (!doc)
        return Fail(page, "not a HostCapture page: the HTML parser gave up");
    bool ok = ReadDocument(xmlDocGetRootElement(doc), page);
    xmlFreeDoc(doc);
    return ok;
}

bool ReadFile(const std::string& path, HostPage& page, std::string* keep, bool followLinks)
{
    page.File = path;
    page.Modified = 0;
    // Opening a FIFO or a terminal must not wait: SafeOpen refuses anything but a regular file.
    int fd = SafeOpen::ForReading(path, followLinks);
    if (fd < 0)
        return Fail(page, errno == EINVAL ? std::string("not a regular file, not read")
                                          : std::string("cannot be opened: ") + std::strerror(errno));
    struct stat st;
    if (fstat(fd, &st) != 0)
    {
        close(fd);
        return Fail(page, std::string("cannot be opened: ") + std::strerror(errno));
    }
    page.Modified = st.st_mtime;
    if (static_cast<unsigned long long>(st.st_size) > kMaxPageBytes)
    {
        close(fd);
        return Fail(page, "larger than 64 MiB, not read: too large for a HostCapture page");
    }
    std::string bytes(static_cast<size_t>(st.st_size), '\0');
    size_t got = bytes.empty() ? 0 : ReadFully(fd, &bytes[0], bytes.size());
    int readError = errno;
    close(fd);
    if (got != bytes.size())
        return Fail(page, std::string("cannot be read: ") + std::strerror(readError));
    if (EndsWith(path, ".failed"))
    {
        ReadMarker(bytes, page);
        return false;
    }
    if (IsForeign(bytes.substr(0, PageOpening().size())))
    {
        Fail(page, "not a HostCapture page");
        page.Foreign = true;
        return false;
    }
    bool ok = ReadPage(bytes, page);
    // The playbook names a page "<stamp>-cut.html" when the time bound stopped the run: what the
    // run could not ask is unknown, and the host must not look healthier than that.
    if (ok && EndsWith(path, "-cut.html"))
    {
        page.RunCut = true;
        page.Problem = "the collection run was cut short by its time bound";
    }
    if (keep)
        keep->swap(bytes);
    return ok;
}
} // namespace PageReader
