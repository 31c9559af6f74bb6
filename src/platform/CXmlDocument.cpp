#include "CXmlDocument.h"

#include "CXmlEncoding.h"
#include "ReadFully.h"
#include "SafeOpen.h"
#include "Utf8.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
#if LIBXML_VERSION >= 21200
using ErrorRecord = const xmlError*;
#else
using ErrorRecord = xmlErrorPtr;
#endif

// Keeps the first error the parser reports; warnings do not make a document unusable.
void CollectError(void* context, ErrorRecord error)
{
    auto* text = static_cast<std::string*>(context);
    if (error == nullptr || error->level < XML_ERR_ERROR || !text->empty())
        return;
    std::string message = error->message != nullptr ? error->message : "unknown error";
    const size_t lineEnd = message.find('\n');
    if (lineEnd != std::string::npos)
        message.erase(lineEnd);
    *text = "line " + std::to_string(error->line) + ": " + message;
}

void IgnoreGenericError(void*, const char*, ...) {}

// Routes libxml2's error reports into a string for the duration of one parse and restores
// the previous handlers afterwards; libxml2 keeps them per thread, so parses on other threads
// are not affected.
class QuietErrors
{
public:
    explicit QuietErrors(std::string& text)
        : m_Structured(xmlStructuredError), m_StructuredContext(xmlStructuredErrorContext),
          m_Generic(xmlGenericError), m_GenericContext(xmlGenericErrorContext)
    {
        xmlSetStructuredErrorFunc(&text, CollectError);
        xmlSetGenericErrorFunc(nullptr, IgnoreGenericError);
    }
    ~QuietErrors()
    {
        xmlSetStructuredErrorFunc(m_StructuredContext, m_Structured);
        xmlSetGenericErrorFunc(m_GenericContext, m_Generic);
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    xmlStructuredErrorFunc m_Structured;
    void* m_StructuredContext;
    xmlGenericErrorFunc m_Generic;
    void* m_GenericContext;
};

void InitialiseLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] { xmlInitParser(); });
}
} // namespace

CXmlDocument::CXmlDocument()
{
    InitialiseLibrary();
}

CXmlDocument::~CXmlDocument()
{
    Release();
}

void CXmlDocument::Release()
{
    if (m_Document != nullptr)
        xmlFreeDoc(m_Document);
    m_Document = nullptr;
}

bool CXmlDocument::ReadFile(const std::string& path, std::string& bytes)
{
    // The catalogue is first looked for in the current folder, which any user may own: a link
    // there is not followed, and a FIFO or device is refused without waiting for a writer.
    const int descriptor = SafeOpen::ForReading(path, false);
    if (descriptor < 0)
    {
        m_Error = "cannot open \"" + path + "\": " + std::strerror(errno);
        return false;
    }
    struct stat status
    {
    };
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<unsigned long long>(status.st_size) > kMaxFileSize)
    {
        close(descriptor);
        m_Error =
            "\"" + path + "\" is not a regular file of at most " + std::to_string(kMaxFileSize) + " bytes";
        return false;
    }
    bytes.resize(static_cast<size_t>(status.st_size));
    const size_t done = ReadFully(descriptor, &bytes[0], bytes.size());
    close(descriptor);
    bytes.resize(done);
    if (bytes.empty())
    {
        m_Error = "\"" + path + "\" is empty";
        return false;
    }
    return true;
}

bool CXmlDocument::Decode(std::string& bytes, bool& converted)
{
    converted = false;
    size_t markLength = 0;
    const std::string wide = CXmlEncoding::DetectWide(bytes, markLength);
    if (!wide.empty())
    {
        // Converted here rather than by the parser, which reads no UTF-32 and misses UTF-16
        // without a mark unless the document starts with a declaration.
        std::string utf8;
        if (!CXmlEncoding::ToUtf8(bytes.substr(markLength), wide, utf8))
        {
            m_Error = "invalid or truncated " + wide + " text";
            return false;
        }
        bytes = std::move(utf8);
        m_SourceEncoding = wide;
        converted = true;
        return true;
    }
    if (!CXmlEncoding::Declared(bytes).empty() || Utf8::IsValid(bytes))
        return true; // the parser follows the declaration, or the UTF-8 default
    for (const std::string& candidate : CXmlEncoding::EightBitCandidates())
    {
        std::string utf8;
        if (CXmlEncoding::ToUtf8(bytes, candidate, utf8))
        {
            bytes = std::move(utf8);
            m_SourceEncoding = candidate;
            converted = true;
            return true;
        }
    }
    m_Error = "text is neither UTF-8 nor in a known 8-bit code page";
    return false;
}

bool CXmlDocument::Parse(const std::string& text, const std::string& path, bool converted)
{
    // No entity substitution and no DTD loading, so external entities stay unresolved
    // references; no network access for anything else.
    int options = XML_PARSE_NONET;
    // Text converted to UTF-8 here still carries its original declaration; the parser is told
    // the real encoding and to pay no attention to the declared one.
    if (converted)
        options |= XML_PARSE_IGNORE_ENC;
    xmlParserCtxtPtr context = xmlNewParserCtxt();
    if (context == nullptr)
    {
        m_Error = "out of memory";
        return false;
    }
    xmlDocPtr document = nullptr;
    bool wellFormed = false;
    {
        QuietErrors quiet(m_Error);
        document = xmlCtxtReadMemory(context, text.data(), static_cast<int>(text.size()), path.c_str(),
                                     converted ? "UTF-8" : nullptr, options);
        wellFormed = context->wellFormed != 0;
    }
    xmlFreeParserCtxt(context);
    if (document == nullptr || !wellFormed || xmlDocGetRootElement(document) == nullptr)
    {
        if (document != nullptr)
            xmlFreeDoc(document);
        if (m_Error.empty())
            m_Error = "not a well-formed document with a root element";
        return false;
    }
    m_Document = document;
    return true;
}

bool CXmlDocument::Load(const std::string& path)
{
    Release();
    m_Error.clear();
    m_SourceEncoding.clear();
    std::string bytes;
    bool converted = false;
    return ReadFile(path, bytes) && Decode(bytes, converted) && Parse(bytes, path, converted);
}

std::string CXmlDocument::RootName() const
{
    const xmlNode* root = m_Document != nullptr ? xmlDocGetRootElement(m_Document) : nullptr;
    return root != nullptr && root->name != nullptr ? reinterpret_cast<const char*>(root->name)
                                                    : std::string();
}

std::string CXmlDocument::RootText() const
{
    xmlNode* root = m_Document != nullptr ? xmlDocGetRootElement(m_Document) : nullptr;
    if (root == nullptr)
        return std::string();
    xmlChar* content = xmlNodeGetContent(root);
    if (content == nullptr)
        return std::string();
    std::string text(reinterpret_cast<const char*>(content));
    xmlFree(content);
    return text;
}
