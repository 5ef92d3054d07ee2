// Splitting of one free-text person name into prefix, first, middle, last
// and suffix. Reads only the knowledge base and the caller's buffers.
#ifndef QVN_PARSER_H
#define QVN_PARSER_H

#include "qvn_kb.h"

#include <cstdint>

namespace qvname {

// Inputs longer than this (bytes) are not split: every slot stays empty.
constexpr size_t kMaxInputLength = 1023;
// Nor are inputs of more than this many words and separators.
constexpr int kMaxTokens = 64;

// Writes slots 0-4 of the token array (QV_PROXY_TOKEN_ARRAY_SIZE bytes):
// each slot's integer is the text's length, its text is NUL-terminated.
// Slots 5-31 are not touched. *count (when not null) gets the number of
// non-empty parts.
void parseName(const KnowledgeBase& kb, const char* input, unsigned char* tokens, int32_t* count);

}  // namespace qvname

#endif
