#pragma once

#include <cstdint>
#include <string>

// A daemon code turned into a report status number and a text.
struct CodedResult
{
    uint32_t Status = 0;
    std::string Text;
};
