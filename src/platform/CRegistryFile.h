#pragma once

#include "CRegistryNode.h"
#include "CRegistryValue.h"

#include <cstdio>
#include <memory>
#include <string>

// The text form of the registry tree. A key is written as its value lines ("name=s=text",
// "name=es=text", "name=d=123", "name=b=ab 01 "), then one "[child]" line followed by that
// child for every subkey, then an empty line that closes the key. The root is written the
// same way, so a file ends with the root's empty line.
//
// Reading is forgiving: lines without a known tag are ignored, lines longer than
// kMaxLineLength or holding NUL bytes are skipped whole, blocks nested deeper than
// CRegistryNode::kMaxDepth are skipped with everything inside them, and a file that ends
// inside a block keeps what was read so far. Reading never recurses.
class CRegistryFile
{
public:
    // Longest line, without its newline, that the reader accepts.
    static constexpr size_t kMaxLineLength = 1023;

    // Loads a file into a new root node. nullptr, with a trace line, when the path is empty,
    // the file cannot be opened, is empty, or yields no entry at all.
    static std::unique_ptr<CRegistryNode> Restore(const std::string& path);
    // Reads the grammar from a stream into a (root) node.
    static void Read(FILE* file, CRegistryNode& root, const std::string& pathForTrace);
    // Writes a node and everything below it; false when a write failed.
    static bool Write(FILE* file, const CRegistryNode& node);
    // The line that stands for a value entry, without the newline.
    static std::string FormatValueLine(const std::string& name, const CRegistryValue& value);
};
