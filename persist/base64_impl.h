// Internal to persist/: the Base64 engines behind Base64encode and Base64decode.
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
// Encodes whole blocks of 24 bytes from in[0, n) while 28 bytes can be read,
// writing four characters for every three; returns the bytes consumed (a
// multiple of 24). Only where Base64WideAvailable().
std::size_t Base64EncodeWide(const unsigned char* in, std::size_t n, char* out);
bool Base64WideAvailable();
// Base64decode with the vector blocks (`wide`, only where available) or without.
int Base64DecodeWith(char* pOut, const char* pCoded, bool wide);
// Base64encode likewise.
int Base64EncodeWith(char* pOut, const char* pIn, int nLength, bool wide);

}  // namespace kwpersist
