// Self-relative descriptors made from their parts, for the calls that hand out
// the security of a file or a service.
#pragma once

#include <vector>

#include <kwlib63/platform/security.h>

namespace kwplat {

// The bytes of an ACL holding `count` entries whose bytes are `aces`.
std::vector<BYTE> MakeAcl(const std::vector<BYTE>& aces, WORD count);

// Writes the descriptor of `owner` and `group` (empty: left out) and `dacl` (null:
// no access list) into the `length` bytes at `descriptor`. `*needed` is its size;
// with less room, ERROR_INSUFFICIENT_BUFFER.
BOOL WriteRelativeDescriptor(const std::vector<BYTE>& owner, const std::vector<BYTE>& group,
                             const std::vector<BYTE>* dacl, PSECURITY_DESCRIPTOR descriptor, DWORD length,
                             LPDWORD needed);

}  // namespace kwplat
