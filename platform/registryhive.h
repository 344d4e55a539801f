// One hive of the registry: its SQLite database and the operations the Reg* calls
// are made of, in terms of key ids and UTF-8 names. Key 0 is the hive's root.
// Used by the registry calls only; every member is safe to call from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/platform/walstamp.h>

struct sqlite3;
struct sqlite3_stmt;
struct sqlite3_value;

namespace kwplat {

class RegistryHive {
 public:
  using KeyId = std::int64_t;
  static constexpr KeyId kRoot = 0;

  // The hive stored in `file`, shared by every caller that asks for the same file.
  // A hive whose file cannot be opened or made is empty and refuses changes.
  static std::shared_ptr<RegistryHive> At(const std::string& file);
  // A connection of its own to the hive in `file`, inside one transaction that
  // holds the hive's write lock until End: what it changes, other connections see
  // only at a commit. Null with the Win32 code in `error` when it cannot begin.
  static std::shared_ptr<RegistryHive> Transacted(const std::string& file, LONG& error);
  // Commits or rolls back the transaction; afterwards the connection refuses
  // changes. A commit that fails rolls back and gives the failure.
  LONG End(bool commit);
  ~RegistryHive();
  RegistryHive(const RegistryHive&) = delete;
  RegistryHive& operator=(const RegistryHive&) = delete;

  bool Writable() const { return m_writable; }

  // Each returns a Win32 code: 0, 2 (no such key or value), 1018 (the key was
  // deleted), 5 (the hive cannot be written) or 1009 (the database failed).
  LONG FindKey(KeyId parent, const std::vector<std::string>& path, KeyId& id);
  // Creates the missing keys of `path`, volatile ones when `isVolatile`: 1021
  // (ERROR_CHILD_MUST_BE_VOLATILE) for a lasting key below a volatile one.
  LONG CreateKey(KeyId parent, const std::vector<std::string>& path, bool isVolatile, KeyId& id, bool& created);
  LONG SetValue(KeyId key, std::string_view name, DWORD type, std::string_view data);
  LONG GetValue(KeyId key, std::string_view name, DWORD& type, std::string& data);
  // 259 past the last one.
  LONG ValueAt(KeyId key, DWORD index, std::string& name, DWORD& type, std::string& data);
  LONG SubKeyAt(KeyId key, DWORD index, std::string& name);
  LONG DeleteValue(KeyId key, std::string_view name);
  // Deletes the sub-key `name` of `parent`, or `parent` itself for an empty name;
  // 5 when the key has sub-keys or is the root.
  LONG DeleteKey(KeyId parent, std::string_view name);

 private:
  enum Statement : int;
  explicit RegistryHive(const std::string& file);
  bool Prepare();
  // Runs a setup statement, again while another process holds the database busy
  // (up to the busy time-out).
  bool Setup(const char* sql);
  // Writers wait this long for each other before a change fails.
  static constexpr int kBusyTimeoutMs = 10000;
  sqlite3_stmt* Stmt(Statement statement);
  LONG Begin();
  LONG Finish(LONG result);
  LONG KeyGone(KeyId key);
  // An entry of an enumeration: a value (name, type, data) or a sub-key (name).
  struct Entry {
    std::string name;
    DWORD type = REG_NONE;
    std::string data;
  };
  struct ValueFree {
    void operator()(sqlite3_value* value) const;
  };
  // Entries of `key` read ahead from index `first` on, with the hive's stamp
  // taken before they were read and this connection's change count.
  struct Batch {
    KeyId key = -1;
    DWORD first = 0;
    std::vector<Entry> rows;
    std::unique_ptr<sqlite3_value, ValueFree> last;  // the last row's sort column, where the next batch starts
    bool complete = false;                           // no entry after the rows
    std::optional<WalStamp> stamp;
    std::int64_t changes = -1;
    std::uint64_t used = 0;  // when it last answered, to give the oldest walk's place to a new one
  };
  // Walks kept at once, per kind: a recursive walk goes down into a sub-key and
  // comes back to its parent's next index.
  static constexpr std::size_t kKeptWalks = 8;
  using Walks = std::array<Batch, kKeptWalks>;
  // A walk's first batch holds this many entries, each next one twice as many as
  // the one before up to the most; a batch stops early once its names and data
  // reach the byte count.
  static constexpr std::size_t kFirstBatchRows = 32;
  static constexpr std::size_t kMostBatchRows = 2048;
  static constexpr std::size_t kBatchBytes = 256 * 1024;
  // Points `entry` at entry `index` of `key` (statement `at` counts from the
  // start, `after` continues after a batch): ERROR_SUCCESS, ERROR_NO_MORE_ITEMS
  // past the end, 1018 for a deleted key. The entry lasts until the next call.
  LONG EntryAt(Walks& walks, Statement at, Statement after, KeyId key, DWORD index, const Entry*& entry);
  // After a rollback the hive is as before without a new stamp or change count.
  void ForgetWalks();
  LONG Failure(int sqliteCode) const;
  // Brings the folded names of an older hive to FoldRegistryName, once per hive
  // file (its user_version); false when that cannot be done.
  bool Refold();
  // Gives an older hive the volatile mark of keys, and removes the volatile keys
  // of an earlier boot of the machine; false when that cannot be done.
  bool ForgetVolatileKeys();

  // guards the connection, its statements and the flags below
  std::mutex m_lock;
  sqlite3* m_db = nullptr;
  bool m_writable = false;
  bool m_transacted = false;  // operations nest as savepoints in the open transaction
  bool m_wal = false;  // the hive is in write-ahead-log mode, whose stamp tells changes
  Walks m_values;
  Walks m_subKeys;
  std::uint64_t m_calls = 0;
  std::vector<sqlite3_stmt*> m_statements;
};

// The hive version whose folded names are FoldRegistryName's, and the one whose
// keys carry their volatile mark.
inline constexpr int kFoldVersion = 1;
inline constexpr int kVolatileVersion = 2;

// The case-folded form under which a name is found: the library's simple case
// folding (kwfw::FoldCase) of the UTF-8 name.
std::string FoldRegistryName(std::string_view name);

}  // namespace kwplat
