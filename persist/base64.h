// Base64 of RFC 4648 section 4 (A-Z a-z 0-9 + /, padded with =, no line breaks)
// into and out of NUL-terminated text. Output buffers are sized with the _len
// functions.
#pragma once

#include <kwlib63/framework/export.h>

// ((nLength + 2) / 3) * 4 + 1: the encoded length with its NUL.
KW_API int Base64encode_len(int nLength);
// Encodes and writes a NUL; returns the characters written with the NUL.
KW_API int Base64encode(char* pOut, const char* pIn, int nLength);
// ((n + 3) / 4) * 3 + 1, n the count of leading alphabet characters.
KW_API int Base64decode_len(const char* pCoded);
// Decodes the leading alphabet characters (the first other byte, '=' included,
// ends the data), writes a NUL after the bytes and returns their count. The text
// is read up to its NUL and never past it, whatever the length of its last group.
KW_API int Base64decode(char* pOut, const char* pCoded);
