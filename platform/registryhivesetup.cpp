// Readying a hive's file when it is opened: the wait for another process making
// the same new hive, the upgrade of an older hive's folded names and key marks,
// and the removal of volatile keys a restart of the machine has ended.
#include <kwlib63/platform/registryhive.h>

#include <glib.h>
#include <sqlite3.h>

#include <chrono>
#include <string>
#include <thread>

namespace kwplat {

bool RegistryHive::Setup(const char* sql) {
  // Two processes making a new hive meet here: the switch to the write-ahead log
  // answers busy at once, without the busy handler, while the other one makes it.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);
  for (;;) {
    const int code = sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr);
    if (code == SQLITE_OK) return true;
    if ((code & 0xFF) != SQLITE_BUSY && (code & 0xFF) != SQLITE_LOCKED) return false;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

namespace {

void FoldFunction(sqlite3_context* context, int, sqlite3_value** args) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(args[0]));
  const std::string folded = FoldRegistryName(text != nullptr ? text : "");
  sqlite3_result_text(context, folded.data(), static_cast<int>(folded.size()), SQLITE_TRANSIENT);
}

}  // namespace

bool RegistryHive::Refold() {
  // Hives of version 0 hold full foldings ("strasse" for "Straße"). A name's
  // simple folding is never shared by two names with different full foldings,
  // so the update cannot break the uniqueness of a parent's names.
  sqlite3_stmt* version = nullptr;
  if (sqlite3_prepare_v2(m_db, "PRAGMA user_version", -1, &version, nullptr) != SQLITE_OK) return false;
  const bool current = sqlite3_step(version) == SQLITE_ROW && sqlite3_column_int(version, 0) >= kFoldVersion;
  sqlite3_finalize(version);
  if (current) return true;
  if (sqlite3_create_function(m_db, "kw_fold", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, FoldFunction, nullptr,
                              nullptr) != SQLITE_OK) {
    return false;
  }
  const std::string sql =
      "BEGIN IMMEDIATE;"
      "UPDATE keys SET folded = kw_fold(name) WHERE folded <> kw_fold(name);"
      "UPDATE vals SET folded = kw_fold(name) WHERE folded <> kw_fold(name);"
      "PRAGMA user_version = " + std::to_string(kFoldVersion) + ";COMMIT;";
  const bool done = Setup(sql.c_str());
  if (!done) sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
  return done;
}

namespace {

// This boot of the machine, as the kernel names it (a UUID); empty when unknown.
std::string BootId() {
  gchar* text = nullptr;
  if (!g_file_get_contents("/proc/sys/kernel/random/boot_id", &text, nullptr, nullptr)) return {};
  std::string id = g_strstrip(text);
  g_free(text);
  return id.find_first_not_of("0123456789abcdef-") == std::string::npos ? id : std::string();
}

int UserVersion(sqlite3* db) {
  sqlite3_stmt* version = nullptr;
  if (sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &version, nullptr) != SQLITE_OK) return -1;
  const int value = sqlite3_step(version) == SQLITE_ROW ? sqlite3_column_int(version, 0) : -1;
  sqlite3_finalize(version);
  return value;
}

}  // namespace

bool RegistryHive::ForgetVolatileKeys() {
  // Volatile keys last until the machine restarts: the first writable open after a
  // boot removes those of the boot before (a volatile key's sub-keys are volatile
  // too, so whole branches go). A key of an older hive has no mark and lasts.
  if (UserVersion(m_db) < kVolatileVersion) {
    bool marked = false;
    sqlite3_stmt* columns = nullptr;
    if (sqlite3_prepare_v2(m_db, "SELECT 1 FROM pragma_table_info('keys') WHERE name = 'volatile'", -1, &columns,
                           nullptr) != SQLITE_OK) {
      return false;
    }
    marked = sqlite3_step(columns) == SQLITE_ROW;
    sqlite3_finalize(columns);
    const std::string sql = std::string("BEGIN IMMEDIATE;") +
                            (marked ? "" : "ALTER TABLE keys ADD COLUMN volatile INTEGER NOT NULL DEFAULT 0;") +
                            "PRAGMA user_version = " + std::to_string(kVolatileVersion) + ";COMMIT;";
    if (!Setup(sql.c_str())) {
      sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
      return false;
    }
  }
  const std::string boot = BootId();
  if (boot.empty()) return true;
  sqlite3_stmt* same = nullptr;
  if (sqlite3_prepare_v2(m_db, "SELECT 1 FROM boot WHERE id = ?1", -1, &same, nullptr) != SQLITE_OK) return false;
  sqlite3_bind_text(same, 1, boot.data(), static_cast<int>(boot.size()), SQLITE_TRANSIENT);
  const bool current = sqlite3_step(same) == SQLITE_ROW;
  sqlite3_finalize(same);
  if (current) return true;
  const std::string sql = "BEGIN IMMEDIATE;"
                          "DELETE FROM vals WHERE key IN (SELECT id FROM keys WHERE volatile <> 0);"
                          "DELETE FROM keys WHERE volatile <> 0;"
                          "DELETE FROM boot; INSERT INTO boot(id) VALUES('" + boot + "');COMMIT;";
  if (!Setup(sql.c_str())) {
    sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
    return false;
  }
  return true;
}

}  // namespace kwplat
