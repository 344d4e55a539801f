// Internal to persist/: the vector Base64 decoder behind Base64decode.
#pragma once

#include <cstddef>

namespace kwpersist {

inline constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The count of alphabet characters from `p` on (its terminator is not one).
std::size_t Base64AlphabetLength(const unsigned char* p);

// Decodes whole blocks of 32 characters from in[0, n) while every character of a
// block is in the alphabet; returns the characters consumed (a multiple of 32),
// having written three bytes for every four. Only where Base64WideAvailable().
std::size_t Base64DecodeWide(const unsigned char* in, std::size_t n, unsigned char* out);
bool Base64WideAvailable();
// Base64decode with the vector blocks (`wide`, only where available) or without.
int Base64DecodeWith(char* pOut, const char* pCoded, bool wide);

}  // namespace kwpersist
