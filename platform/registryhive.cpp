#include <kwlib63/platform/registryhive.h>

#include <fcntl.h>
#include <glib.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/platform/walstamp.h>

namespace kwplat {

// Keys get ids that are never reused, so that a handle to a deleted key cannot
// reach a newer key. Values keep the order they were made in through their ids: a
// new one always gets an id above every value still there, which is all the order
// needs, so they do without the cost of AUTOINCREMENT.
constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " name TEXT NOT NULL, folded TEXT NOT NULL, volatile INTEGER NOT NULL DEFAULT 0, UNIQUE(parent, folded));"
    "CREATE TABLE IF NOT EXISTS boot(id TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS vals(id INTEGER PRIMARY KEY, key INTEGER NOT NULL,"
    " name TEXT NOT NULL, folded TEXT NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
    "CREATE INDEX IF NOT EXISTS vals_order ON vals(key, id);";

enum RegistryHive::Statement : int {
  kFindChild,
  kInsertKey,
  kKeyExists,
  kUpdateValue,
  kSetValue,
  kGetValue,
  kValueAt,
  kValueAfter,
  kSubKeyAt,
  kSubKeyAfter,
  kDeleteValue,
  kHasChildren,
  kDeleteKeyValues,
  kDeleteKey,
  kBegin,
  kBeginRead,
  kCommit,
  kRollback,
  kStatementCount
};

namespace {


// The hive's results are LONG, as the registry calls return them.
constexpr LONG kKeyDeleted = ERROR_KEY_DELETED;

void BindText(sqlite3_stmt* statement, int index, std::string_view text) {
  sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

std::string ColumnBytes(sqlite3_stmt* statement, int column) {
  const void* bytes = sqlite3_column_blob(statement, column);
  int size = sqlite3_column_bytes(statement, column);
  return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), size);
}

// Resets a statement when the operation using it ends, whatever way it ends.
class ResetOnExit {
 public:
  explicit ResetOnExit(sqlite3_stmt* statement) : m_statement(statement) {}
  ~ResetOnExit() {
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
  }
  ResetOnExit(const ResetOnExit&) = delete;
  ResetOnExit& operator=(const ResetOnExit&) = delete;
  sqlite3_stmt* operator->() const { return m_statement; }
  operator sqlite3_stmt*() const { return m_statement; }

 private:
  sqlite3_stmt* m_statement;
};

// Statements that belong together (an enumeration's version check and its row) in
// one read transaction: the file is locked once for them instead of once each.
// Inside a transaction already, nothing is done.
class ReadTransaction {
 public:
  ReadTransaction(sqlite3* db, sqlite3_stmt* begin, sqlite3_stmt* commit) : m_commit(commit) {
    if (sqlite3_get_autocommit(db) == 0) return;
    ResetOnExit opened(begin);
    m_open = sqlite3_step(begin) == SQLITE_DONE;
  }
  ~ReadTransaction() {
    if (!m_open) return;
    ResetOnExit closed(m_commit);
    sqlite3_step(m_commit);
  }
  ReadTransaction(const ReadTransaction&) = delete;
  ReadTransaction& operator=(const ReadTransaction&) = delete;

 private:
  sqlite3_stmt* m_commit;
  bool m_open = false;
};

}  // namespace

std::string FoldRegistryName(std::string_view name) { return kwfw::FoldCase(name); }

std::shared_ptr<RegistryHive> RegistryHive::At(const std::string& file) {
  static std::mutex lock;  // guards hives
  // Connections live as long as the process: opening a database costs far more
  // than a value's read.
  static auto* hives = new std::map<std::string, std::shared_ptr<RegistryHive>>;
  std::lock_guard guard(lock);
  std::shared_ptr<RegistryHive>& hive = (*hives)[file];
  // A hive that could not be opened is tried again: its file may be there now.
  if (hive == nullptr || hive->m_db == nullptr) hive.reset(new RegistryHive(file));
  return hive;
}

std::shared_ptr<RegistryHive> RegistryHive::Transacted(const std::string& file, LONG& error) {
  std::shared_ptr<RegistryHive> hive(new RegistryHive(file));
  std::lock_guard guard(hive->m_lock);
  if (!hive->m_writable) {
    error = hive->m_db == nullptr ? ERROR_BADDB : ERROR_ACCESS_DENIED;
    return nullptr;
  }
  if (const int code = sqlite3_exec(hive->m_db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr); code != SQLITE_OK) {
    error = hive->Failure(code);
    return nullptr;
  }
  hive->m_transacted = true;
  return hive;
}

LONG RegistryHive::End(bool commit) {
  std::lock_guard guard(m_lock);
  if (!m_transacted) return ERROR_TRANSACTION_NOT_ACTIVE;
  m_transacted = false;
  m_writable = false;
  LONG result = ERROR_SUCCESS;
  if (commit) {
    if (const int code = sqlite3_exec(m_db, "COMMIT", nullptr, nullptr, nullptr); code != SQLITE_OK) result = Failure(code);
  }
  if (!commit || result != ERROR_SUCCESS) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  ForgetWalks();
  return result;
}

RegistryHive::RegistryHive(const std::string& file) {
  g_mkdir_with_parents(FolderOf(file).c_str(), 0700);
  int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd >= 0) close(fd);
  if (sqlite3_open_v2(file.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    sqlite3_close(m_db);
    m_db = nullptr;
    return;
  }
  sqlite3_busy_timeout(m_db, kBusyTimeoutMs);
  m_writable = sqlite3_db_readonly(m_db, "main") == 0;
  // A committed change is in the write-ahead log before the call returns, which
  // a crash of the process cannot undo; only the log's flush waits for checkpoints.
  bool ready = !m_writable || (Setup("PRAGMA journal_mode=WAL") && Setup("PRAGMA synchronous=NORMAL") && Setup(kSchema) &&
                               Refold() && ForgetVolatileKeys());
  if (!ready || !Prepare()) {
    for (sqlite3_stmt* statement : m_statements) sqlite3_finalize(statement);
    m_statements.clear();
    sqlite3_close(m_db);
    m_db = nullptr;
    m_writable = false;
    return;
  }
  // Only a hive in write-ahead-log mode has the shared index whose stamp tells a
  // change; asking another for it would leave an index file behind.
  sqlite3_stmt* mode = nullptr;
  if (sqlite3_prepare_v2(m_db, "PRAGMA journal_mode", -1, &mode, nullptr) == SQLITE_OK && sqlite3_step(mode) == SQLITE_ROW) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(mode, 0));
    m_wal = text != nullptr && std::string_view(text) == "wal";
  }
  sqlite3_finalize(mode);
}

RegistryHive::~RegistryHive() {
  for (sqlite3_stmt* statement : m_statements) sqlite3_finalize(statement);
  sqlite3_close(m_db);
}

bool RegistryHive::Prepare() {
  static constexpr const char* kText[] = {
      "SELECT id, volatile FROM keys WHERE parent = ?1 AND folded = ?2",
      "INSERT INTO keys(parent, name, folded, volatile) VALUES(?1, ?2, ?3, ?4)",
      "SELECT volatile FROM keys WHERE id = ?1",
      "UPDATE vals SET type = ?4, data = ?5 WHERE key = ?1 AND folded = ?3",
      "INSERT INTO vals(key, name, folded, type, data) SELECT ?1, ?2, ?3, ?4, ?5"
      " WHERE ?1 = 0 OR EXISTS(SELECT 1 FROM keys WHERE id = ?1)"
      " ON CONFLICT(key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
      "SELECT type, data FROM vals WHERE key = ?1 AND folded = ?2",
      "SELECT id, name, type, data FROM vals WHERE key = ?1 ORDER BY id LIMIT ?3 OFFSET ?2",
      "SELECT id, name, type, data FROM vals WHERE key = ?1 AND id > ?2 ORDER BY id LIMIT ?3",
      "SELECT folded, name FROM keys WHERE parent = ?1 ORDER BY folded LIMIT ?3 OFFSET ?2",
      "SELECT folded, name FROM keys WHERE parent = ?1 AND folded > ?2 ORDER BY folded LIMIT ?3",
      "DELETE FROM vals WHERE key = ?1 AND folded = ?2",
      "SELECT 1 FROM keys WHERE parent = ?1 LIMIT 1",
      "DELETE FROM vals WHERE key = ?1",
      "DELETE FROM keys WHERE id = ?1",
      "BEGIN IMMEDIATE",
      "BEGIN",
      "COMMIT",
      "ROLLBACK",
  };

  static_assert(std::size(kText) == kStatementCount);
  for (const char* text : kText) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(m_db, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) return false;
    m_statements.push_back(statement);
  }
  return true;
}

sqlite3_stmt* RegistryHive::Stmt(Statement statement) { return m_statements[statement]; }

LONG RegistryHive::Failure(int sqliteCode) const {
  switch (sqliteCode & 0xFF) {
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return ERROR_ACCESS_DENIED;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return ERROR_BUSY;
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    default:
      return ERROR_BADDB;
  }
}

// Changes of more than one row go in one transaction, taken before the first read
// so that no other writer slips in between.
LONG RegistryHive::Begin() {
  // Inside a transaction an operation is a savepoint, so that a failed one undoes
  // only itself.
  if (m_transacted) {
    const int code = sqlite3_exec(m_db, "SAVEPOINT operation", nullptr, nullptr, nullptr);
    return code == SQLITE_OK ? ERROR_SUCCESS : Failure(code);
  }
  ResetOnExit begin(Stmt(kBegin));
  int code = sqlite3_step(begin);
  return code == SQLITE_DONE ? ERROR_SUCCESS : Failure(code);
}

LONG RegistryHive::Finish(LONG result) {
  if (m_transacted) {
    if (result != ERROR_SUCCESS) sqlite3_exec(m_db, "ROLLBACK TO operation", nullptr, nullptr, nullptr);
    const int code = sqlite3_exec(m_db, "RELEASE operation", nullptr, nullptr, nullptr);
    return result != ERROR_SUCCESS || code == SQLITE_OK ? result : Failure(code);
  }
  if (result == ERROR_SUCCESS) {
    ResetOnExit commit(Stmt(kCommit));
    int code = sqlite3_step(commit);
    if (code == SQLITE_DONE) return ERROR_SUCCESS;
    result = Failure(code);
  }
  ResetOnExit rollback(Stmt(kRollback));
  sqlite3_step(rollback);
  return result;
}

// What a missing row means: the key itself is gone (ERROR_KEY_DELETED) or only
// the name (ERROR_FILE_NOT_FOUND).
LONG RegistryHive::KeyGone(KeyId key) {
  if (key == kRoot) return ERROR_FILE_NOT_FOUND;
  ResetOnExit exists(Stmt(kKeyExists));
  sqlite3_bind_int64(exists, 1, key);
  return sqlite3_step(exists) == SQLITE_ROW ? ERROR_FILE_NOT_FOUND : kKeyDeleted;
}

LONG RegistryHive::FindKey(KeyId parent, const std::vector<std::string>& path, KeyId& id) {
  std::lock_guard guard(m_lock);
  if (m_db == nullptr) return ERROR_FILE_NOT_FOUND;
  if (parent != kRoot && KeyGone(parent) != ERROR_FILE_NOT_FOUND) return kKeyDeleted;
  id = parent;
  for (const std::string& name : path) {
    ResetOnExit find(Stmt(kFindChild));
    sqlite3_bind_int64(find, 1, id);
    BindText(find, 2, FoldRegistryName(name));
    int code = sqlite3_step(find);
    if (code == SQLITE_DONE) return ERROR_FILE_NOT_FOUND;
    if (code != SQLITE_ROW) return Failure(code);
    id = sqlite3_column_int64(find, 0);
  }
  return ERROR_SUCCESS;
}

LONG RegistryHive::CreateKey(KeyId parent, const std::vector<std::string>& path, bool isVolatile, KeyId& id,
                             bool& created) {
  std::lock_guard guard(m_lock);
  if (!m_writable) return ERROR_ACCESS_DENIED;
  if (LONG began = Begin(); began != ERROR_SUCCESS) return began;
  int code = SQLITE_OK;
  LONG result = ERROR_SUCCESS;
  bool volatileParent = false;
  if (parent != kRoot) {
    ResetOnExit exists(Stmt(kKeyExists));
    sqlite3_bind_int64(exists, 1, parent);
    if (sqlite3_step(exists) == SQLITE_ROW) volatileParent = sqlite3_column_int(exists, 0) != 0;
    else result = kKeyDeleted;
  }
  created = false;
  id = parent;
  for (std::size_t i = 0; i < path.size() && result == ERROR_SUCCESS; ++i) {
    std::string folded = FoldRegistryName(path[i]);
    ResetOnExit find(Stmt(kFindChild));
    sqlite3_bind_int64(find, 1, id);
    BindText(find, 2, folded);
    code = sqlite3_step(find);
    if (code == SQLITE_ROW) {
      id = sqlite3_column_int64(find, 0);
      volatileParent = sqlite3_column_int(find, 1) != 0;
      continue;
    }
    if (code != SQLITE_DONE) {
      result = Failure(code);
      break;
    }
    // A key that lasts cannot hang below one that goes with the next boot.
    if (volatileParent && !isVolatile) {
      result = ERROR_CHILD_MUST_BE_VOLATILE;
      break;
    }
    volatileParent = isVolatile;
    ResetOnExit insert(Stmt(kInsertKey));
    sqlite3_bind_int64(insert, 1, id);
    BindText(insert, 2, path[i]);
    BindText(insert, 3, folded);
    sqlite3_bind_int(insert, 4, isVolatile ? 1 : 0);
    code = sqlite3_step(insert);
    if (code != SQLITE_DONE) result = Failure(code);
    id = sqlite3_last_insert_rowid(m_db);
    created = true;
  }
  return Finish(result);
}

LONG RegistryHive::SetValue(KeyId key, std::string_view name, DWORD type, std::string_view data) {
  std::lock_guard guard(m_lock);
  if (!m_writable) return ERROR_ACCESS_DENIED;
  const std::string folded = FoldRegistryName(name);
  // Overwriting is the common case and touches one row; a new value (or one that
  // another process made in between) goes through the insert, which also finds a
  // deleted key.
  for (Statement statement : {kUpdateValue, kSetValue}) {
    ResetOnExit set(Stmt(statement));
    sqlite3_bind_int64(set, 1, key);
    BindText(set, 2, name);
    BindText(set, 3, folded);
    sqlite3_bind_int64(set, 4, type);
    // A null pointer would bind SQL NULL; an empty value is an empty blob.
    sqlite3_bind_blob(set, 5, data.empty() ? "" : data.data(), static_cast<int>(data.size()), SQLITE_STATIC);
    int code = sqlite3_step(set);
    if (code != SQLITE_DONE) return Failure(code);
    if (sqlite3_changes(m_db) != 0) return ERROR_SUCCESS;
  }
  return kKeyDeleted;
}

LONG RegistryHive::GetValue(KeyId key, std::string_view name, DWORD& type, std::string& data) {
  std::lock_guard guard(m_lock);
  if (m_db == nullptr) return ERROR_FILE_NOT_FOUND;
  ResetOnExit get(Stmt(kGetValue));
  sqlite3_bind_int64(get, 1, key);
  BindText(get, 2, FoldRegistryName(name));
  int code = sqlite3_step(get);
  if (code == SQLITE_DONE) return KeyGone(key);
  if (code != SQLITE_ROW) return Failure(code);
  type = static_cast<DWORD>(sqlite3_column_int64(get, 0));
  data = ColumnBytes(get, 1);
  return ERROR_SUCCESS;
}

// An enumeration asks for index 0, 1, 2, ... (often twice each, for a size and
// then the data). Entries are read ahead in batches, so that one read transaction
// serves many calls: a batch answers while neither a commit (its stamp) nor this
// connection's own changes inside a transaction moved the hive; the next batch
// starts after the last entry, found through the table's index. Any other index
// counts its way from the start.
void RegistryHive::ValueFree::operator()(sqlite3_value* value) const { sqlite3_value_free(value); }

void RegistryHive::ForgetWalks() {
  m_values = Walks{};
  m_subKeys = Walks{};
}

LONG RegistryHive::EntryAt(Walks& walks, Statement at, Statement after, KeyId key, DWORD index, const Entry*& entry) {
  const std::optional<WalStamp> stamp = m_wal ? ReadWalStamp(m_db) : std::nullopt;
  const std::int64_t changes = sqlite3_total_changes64(m_db);
  // The key's walk, or the place of the one that answered longest ago.
  Batch* found = &walks[0];
  for (Batch& walk : walks) {
    if (walk.key == key) {
      found = &walk;
      break;
    }
    if (walk.used < found->used) found = &walk;
  }
  Batch& batch = *found;
  batch.used = ++m_calls;
  const bool current = stamp && batch.key == key && batch.stamp == stamp && batch.changes == changes;
  if (current && index >= batch.first) {
    const DWORD offset = index - batch.first;
    if (offset < batch.rows.size()) {
      entry = &batch.rows[offset];
      return ERROR_SUCCESS;
    }
    if (batch.complete) return ERROR_NO_MORE_ITEMS;
  }
  const bool next = current && batch.last != nullptr && index == batch.first + batch.rows.size();
  Batch fresh;
  fresh.key = key;
  fresh.first = index;
  fresh.stamp = stamp;
  fresh.changes = changes;
  fresh.used = batch.used;
  // Without a stamp no later change could be told: nothing is kept for later.
  const std::size_t limit = !stamp ? 1 : next ? std::min(2 * batch.rows.size(), kMostBatchRows) : kFirstBatchRows;
  fresh.rows.reserve(limit);
  const ReadTransaction together(m_db, Stmt(kBeginRead), Stmt(kCommit));
  ResetOnExit row(Stmt(next ? after : at));
  sqlite3_bind_int64(row, 1, key);
  if (next) {
    sqlite3_bind_value(row, 2, batch.last.get());
  } else {
    sqlite3_bind_int64(row, 2, index);
  }
  sqlite3_bind_int64(row, 3, static_cast<sqlite3_int64>(limit));
  std::size_t bytes = 0;
  int code = SQLITE_ROW;
  while (fresh.rows.size() < limit && bytes < kBatchBytes && (code = sqlite3_step(row)) == SQLITE_ROW) {
    Entry& added = fresh.rows.emplace_back();
    added.name = reinterpret_cast<const char*>(sqlite3_column_text(row, 1));
    if (sqlite3_column_count(row) > 3) {
      added.type = static_cast<DWORD>(sqlite3_column_int64(row, 2));
      added.data = ColumnBytes(row, 3);
    }
    bytes += added.name.size() + added.data.size();
  }
  fresh.complete = code == SQLITE_DONE;
  if (code == SQLITE_ROW) fresh.last.reset(sqlite3_value_dup(sqlite3_column_value(row, 0)));
  LONG result = ERROR_SUCCESS;
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    result = Failure(code);
  } else if (fresh.rows.empty()) {
    result = KeyGone(key) == kKeyDeleted ? kKeyDeleted : ERROR_NO_MORE_ITEMS;
  }
  if (result != ERROR_SUCCESS) {
    batch = Batch{};
    return result;
  }
  batch = std::move(fresh);
  entry = &batch.rows.front();
  return ERROR_SUCCESS;
}

LONG RegistryHive::ValueAt(KeyId key, DWORD index, std::string& name, DWORD& type, std::string& data) {
  std::lock_guard guard(m_lock);
  if (m_db == nullptr) return ERROR_NO_MORE_ITEMS;
  const Entry* entry = nullptr;
  if (const LONG result = EntryAt(m_values, kValueAt, kValueAfter, key, index, entry); result != ERROR_SUCCESS) {
    return result;
  }
  name = entry->name;
  type = entry->type;
  data = entry->data;
  return ERROR_SUCCESS;
}

LONG RegistryHive::SubKeyAt(KeyId key, DWORD index, std::string& name) {
  std::lock_guard guard(m_lock);
  if (m_db == nullptr) return ERROR_NO_MORE_ITEMS;
  const Entry* entry = nullptr;
  if (const LONG result = EntryAt(m_subKeys, kSubKeyAt, kSubKeyAfter, key, index, entry); result != ERROR_SUCCESS) {
    return result;
  }
  name = entry->name;
  return ERROR_SUCCESS;
}

LONG RegistryHive::DeleteValue(KeyId key, std::string_view name) {
  std::lock_guard guard(m_lock);
  if (!m_writable) return m_db == nullptr ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED;
  ResetOnExit remove(Stmt(kDeleteValue));
  sqlite3_bind_int64(remove, 1, key);
  BindText(remove, 2, FoldRegistryName(name));
  int code = sqlite3_step(remove);
  if (code != SQLITE_DONE) return Failure(code);
  return sqlite3_changes(m_db) == 0 ? KeyGone(key) : ERROR_SUCCESS;
}

LONG RegistryHive::DeleteKey(KeyId parent, std::string_view name) {
  std::lock_guard guard(m_lock);
  if (!m_writable) return m_db == nullptr ? ERROR_FILE_NOT_FOUND : ERROR_ACCESS_DENIED;
  if (LONG began = Begin(); began != ERROR_SUCCESS) return began;
  int code = SQLITE_OK;
  LONG result = ERROR_SUCCESS;
  KeyId id = parent;
  if (name.empty()) {
    result = parent == kRoot ? ERROR_ACCESS_DENIED : KeyGone(parent) == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : kKeyDeleted;
  } else {
    ResetOnExit find(Stmt(kFindChild));
    sqlite3_bind_int64(find, 1, parent);
    BindText(find, 2, FoldRegistryName(name));
    code = sqlite3_step(find);
    if (code == SQLITE_ROW) id = sqlite3_column_int64(find, 0);
    else result = code == SQLITE_DONE ? KeyGone(parent) : Failure(code);
  }
  if (result == ERROR_SUCCESS) {
    ResetOnExit children(Stmt(kHasChildren));
    sqlite3_bind_int64(children, 1, id);
    code = sqlite3_step(children);
    if (code == SQLITE_ROW) result = ERROR_ACCESS_DENIED;
    else if (code != SQLITE_DONE) result = Failure(code);
  }
  for (Statement statement : {kDeleteKeyValues, kDeleteKey}) {
    if (result != ERROR_SUCCESS) break;
    ResetOnExit remove(Stmt(statement));
    sqlite3_bind_int64(remove, 1, id);
    code = sqlite3_step(remove);
    if (code != SQLITE_DONE) result = Failure(code);
  }
  return Finish(result);
}

}  // namespace kwplat
