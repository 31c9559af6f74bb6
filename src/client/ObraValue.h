#pragma once

#include <rapidjson/document.h>

#include <cstdint>
#include <vector>

// How the numbers and raw bytes of an OBRA answer are read, in one place for every reader: the
// request accessors, the cabinet number, the channel registration and the query layer.

// A JSON number as an unsigned 32-bit value: the low 32 bits of an integer (so -1 reads as
// 0xFFFFFFFF), a fraction cut towards zero first. False for anything that is not a number and for
// a fraction that no 64-bit integer holds.
bool NumberLowBits(const rapidjson::Value& number, uint32_t& bits);

// The array of a raw data member {"RAW": [...]}, or nullptr when data is not an object holding
// "RAW" as an array.
const rapidjson::Value* RawArray(const rapidjson::Value& data);

// The bytes of a "RAW" array, one per element: the low 8 bits of each element. Every element
// must be an integer (a fraction is no byte); otherwise false, with bytes left as far as they got.
bool RawArrayBytes(const rapidjson::Value& raw, std::vector<uint8_t>& bytes);
