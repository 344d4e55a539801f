// Internal to persist/: the vector Base64 decoder behind Base64decode.
// The engines the tests and benchmarks compare are exported (KW_API) for them;
// this header is not installed.
#pragma once

#include <cstddef>

#include <kwlib63/framework/export.h>

namespace kwpersist {

// Decodes whole blocks of 32 characters from in[0, n) while every character of a
// block is in the alphabet; returns the characters consumed (a multiple of 32),
// having written three bytes for every four. Only where Base64WideAvailable().
std::size_t Base64DecodeWide(const unsigned char* in, std::size_t n, unsigned char* out);
KW_API bool Base64WideAvailable();
// Base64decode with the vector blocks (`wide`, only where available) or without.
KW_API int Base64DecodeWith(char* pOut, const char* pCoded, bool wide);

}  // namespace kwpersist
