#pragma once

#include <cstdint>
#include <string>

// Entry types of the registry, as stored in the file and reported by QueryValue.
enum CRegistryType : uint32_t
{
    RegistryTypeString = 1,
    RegistryTypeExpandString = 2, // %NAME% is replaced from the environment on read
    RegistryTypeBinary = 3,
    RegistryTypeInteger = 4, // signed 32-bit
    RegistryTypeSubkey = 666,
};

// The data of one value entry: text for the string types, raw bytes for binary values, the
// number for integers.
struct CRegistryValue
{
    uint32_t type = RegistryTypeString;
    std::string data;
    int32_t number = 0;
};
