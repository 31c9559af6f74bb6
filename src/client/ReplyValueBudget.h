#pragma once

#include <cstddef>
#include <cstdint>

// A bound on the document tree that one reply may build. A reply text is bounded (64 MiB), but
// its tree is not: every value takes 16 bytes, so "[0,0,0,...]" would turn 64 MiB of text into
// half a gigabyte of tree (and as much again while parsing). A reply with more values than
// kMaxReplyValues is refused like a malformed one, so no single answer can grow the process
// past its memory budget. The bound leaves room for an event log of well over twenty thousand
// records, more than any management controller keeps.
namespace ReplyValueBudget
{
constexpr size_t kMaxReplyValues = 2u * 1024u * 1024u;

// True when the JSON text may hold more than limit values. Counted are the separators and
// openers that each begin a value (",", ":", "[", "{"); those inside strings are left out when
// the quick count over the whole text is not already low enough.
bool ExceedsValues(const char* text, size_t length, size_t limit);
} // namespace ReplyValueBudget
