// The event-message catalogue: the input is the catalogue file's bytes, in whatever encoding
// (UTF-8, UTF-16 and UTF-32 of either byte order with or without mark, a declared code page,
// undeclared 8-bit text). It is loaded from a file the way the report loads it, and the
// encoding helpers are run on the bytes directly.

#include "CXmlDocument.h"
#include "CXmlEncoding.h"
#include "FuzzSupport.h"
#include "Utf8.h"

#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::PrivateSysRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string path = FuzzSupport::PrivateSysRoot() + "/ERRMSG.XML";
    FuzzSupport::WriteFile(path, bytes);

    CXmlDocument document;
    if (document.Load(path))
    {
        document.RootName();
        document.RootText();
    }
    document.ErrorText();

    size_t markLength = 0;
    std::string encoding = CXmlEncoding::DetectWide(bytes, markLength);
    if (encoding.empty())
        encoding = CXmlEncoding::Declared(bytes);
    Utf8::IsValid(bytes);
    std::string utf8;
    if (!encoding.empty())
        CXmlEncoding::ToUtf8(bytes.substr(markLength < bytes.size() ? markLength : bytes.size()), encoding,
                             utf8);
    return 0;
}
