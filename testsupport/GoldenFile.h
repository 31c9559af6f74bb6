#pragma once

#include <string>

// Checked-in expected outputs ("golden files") under testdata/golden of the source tree. A test
// renders what the program produced into a text and compares it with its golden file; an
// intended change is made by regenerating the files (HOSTCAPTURE_REGEN_GOLDEN=1, which
// scripts/regen-golden sets) and reviewing the diff.

// Path of a golden file: <source tree>/testdata/golden/<name>.
std::string GoldenPath(const std::string& name);

// Empty when text equals the golden file byte for byte; otherwise a description of the first
// difference: line number, the expected and the actual line, and how to regenerate. With
// HOSTCAPTURE_REGEN_GOLDEN=1 in the environment the file is written from text instead, and the
// result is empty unless writing failed.
std::string CompareWithGolden(const std::string& text, const std::string& goldenName);
