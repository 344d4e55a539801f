// Where a SQLite database in write-ahead-log mode stands, read from the log's
// shared index without a transaction: a commit of any connection, in this process
// or another, changes it. Reading it costs a few loads where a read transaction
// costs file locks, so a reader can keep rows it read and know when to read again.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

struct sqlite3;

namespace kwplat {

// The index header's words (its change counter, last frame, salts and checksum).
using WalStamp = std::array<std::uint32_t, 12>;

// The stamp of `db`'s main database, or nothing when it has no shared log index
// to read (another journal mode, an index not yet made, a header being written
// over and over): the caller then cannot tell a change and reads afresh.
// Taken before a read transaction, a stamp that is still the same later means no
// commit came after that transaction's rows.
std::optional<WalStamp> ReadWalStamp(sqlite3* db);

}  // namespace kwplat
