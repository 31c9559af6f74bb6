// Value operations of CRegistry: reading, writing and deleting values, and the expansion of
// environment references in expandable strings.
#include "CDebug.h"
#include "CRegistry.h"
#include "CRegistryFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{
// A value name must survive the "name=tag=value" line of the file: the reader splits at the
// first '=' and takes a line beginning with '[' for a key.
bool IsStorableValueName(const std::string& name)
{
    return name.find_first_of("=\r\n") == std::string::npos && (name.empty() || name[0] != '[');
}

bool BuildValue(const void* data, uint32_t length, uint32_t type, CRegistryValue& value)
{
    if (data == nullptr && length != 0)
        return false;
    value.type = type;
    const char* bytes = static_cast<const char*>(data);
    switch (type)
    {
    case RegistryTypeString:
    case RegistryTypeExpandString:
        value.data.assign(bytes != nullptr ? bytes : "", bytes != nullptr ? strnlen(bytes, length) : 0);
        return value.data.find_first_of("\r\n") == std::string::npos;
    case RegistryTypeBinary:
        value.data.assign(bytes != nullptr ? bytes : "", length);
        return true;
    case RegistryTypeInteger:
        if (length < sizeof(int32_t))
            return false;
        std::memcpy(&value.number, bytes, sizeof(int32_t));
        return true;
    default:
        return false;
    }
}
} // namespace

std::string CRegistry::ExpandEnvironment(const std::string& text)
{
    std::string expanded;
    size_t position = 0;
    while (position < text.size())
    {
        const size_t opening = text.find('%', position);
        const size_t closing = opening == std::string::npos ? std::string::npos : text.find('%', opening + 1);
        if (closing == std::string::npos)
        {
            // No complete pair left: the rest, a lone percent sign included, is plain text.
            expanded.append(text, position, std::string::npos);
            break;
        }
        expanded.append(text, position, opening - position);
        if (closing == opening + 1)
            expanded.push_back('%');
        else
        {
            const std::string name = text.substr(opening + 1, closing - opening - 1);
            if (const char* variable = std::getenv(name.c_str()))
                expanded.append(variable);
        }
        position = closing + 1;
    }
    return expanded;
}

std::string CRegistry::Payload(const CRegistryValue& value, bool expand)
{
    switch (value.type)
    {
    case RegistryTypeExpandString:
        if (expand)
            return ExpandEnvironment(value.data) + '\0';
        return value.data + '\0';
    case RegistryTypeInteger:
        return std::string(reinterpret_cast<const char*>(&value.number), sizeof(value.number));
    case RegistryTypeString:
        return value.data + '\0';
    default:
        return value.data;
    }
}

std::optional<std::string> CRegistry::GetValue(const CRegistryKey& key, const char* name)
{
    std::optional<std::string> result;
    try
    {
        CRegistryValue value;
        CRecursiveLockGuard guard(m_Lock);
        if (StartNode(key)->GetValue(name != nullptr ? name : "", value))
        {
            if (value.type == RegistryTypeInteger)
                result = std::to_string(value.number);
            else if (value.type == RegistryTypeExpandString && key.Expands())
                result = ExpandEnvironment(value.data);
            else
                result = std::move(value.data);
        }
    }
    catch (...)
    {
        result.reset();
    }
    if (g_Debug.IsTraceEnabled())
        g_Debug.Print(4, "CRegistry::GetValue \"%s\" --> len %d\n", Printable(name),
                      result ? static_cast<int>(result->size()) : 0);
    return result;
}

int CRegistry::QueryValue(const CRegistryKey& key, const char* name, uint32_t* type, void* data,
                          uint32_t* count)
{
    if (count == nullptr)
    {
        if (g_Debug.IsTraceEnabled())
            g_Debug.Print(1, "CRegistry::QueryValue: ** ERROR **  pdwCount is a NULL pointer\n");
        return EINVAL;
    }
    try
    {
        CRegistryValue value;
        {
            CRecursiveLockGuard guard(m_Lock);
            if (!StartNode(key)->GetValue(name != nullptr ? name : "", value))
                return ENOENT;
        }
        const std::string payload = Payload(value, key.Expands());
        if (type != nullptr)
            *type = value.type;
        const uint32_t capacity = *count;
        *count = static_cast<uint32_t>(payload.size());
        if (data == nullptr)
            return 0;
        if (capacity < payload.size())
            return ERANGE;
        std::memcpy(data, payload.data(), payload.size());
        return 0;
    }
    catch (...)
    {
        return ENOMEM;
    }
}

int CRegistry::SetValue(const CRegistryKey& key, const char* name, const void* data, uint32_t length,
                        uint32_t type)
{
    const bool trace = g_Debug.IsTraceEnabled();
    if (trace)
        g_Debug.Print(4, "CRegistry::SetValue \"%s\" %d %d\n", Printable(name), static_cast<int>(length),
                      static_cast<int>(type));
    try
    {
        const std::string valueName = name != nullptr ? name : "";
        CRegistryValue value;
        if (!IsStorableValueName(valueName) || !BuildValue(data, length, type, value) ||
            CRegistryFile::FormatValueLine(valueName, value).size() > CRegistryFile::kMaxLineLength)
        {
            if (trace)
                g_Debug.Print(1, "CRegistry::SetValue: ERROR: \"%s\" cannot be stored\n", valueName.c_str());
            return 0;
        }
        CRecursiveLockGuard guard(m_Lock);
        const CRegistryEntry* entry = StartNode(key)->SetValue(valueName, value);
        if (trace)
            g_Debug.Print(4, "CRegistry::SetValue oEntry = %p\n", static_cast<const void*>(entry));
        if (entry == nullptr)
            return 0;
        m_IsDirty = true;
        return 1;
    }
    catch (...)
    {
        return 0;
    }
}

int CRegistry::DeleteValue(const CRegistryKey& key, const char* name)
{
    if (g_Debug.IsTraceEnabled())
        g_Debug.Print(4, "CRegistry::DeleteValue \"%s\"\n", Printable(name));
    try
    {
        CRecursiveLockGuard guard(m_Lock);
        const int result = StartNode(key)->RemoveValue(name != nullptr ? name : "");
        if (result == 0)
            m_IsDirty = true;
        return result;
    }
    catch (...)
    {
        return ENOMEM;
    }
}
