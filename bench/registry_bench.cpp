// Registry folder reads and writes against a plain prepared SQLite statement on
// the same row of the same database, with the same journal settings: what the
// registry layer (handles, names, case folding, the stored form) costs on top.
#include <sqlite3.h>

#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/settings/carpetaregistry.h>

namespace {

// One hive for the whole run, holding the folder and the value every benchmark uses.
const std::string& HiveFile() {
  static const std::string file = [] {
    char folder[] = "/tmp/kwlib-bench-registry-XXXXXX";
    if (mkdtemp(folder) == nullptr) std::abort();
    std::string path = std::string(folder) + "/HKCU.db";
    kwplat::RegSetHiveFile(HKEY_CURRENT_USER, kwfw::Utf8ToWide(path).c_str());
    TCarpetaRegistry(L"Software\\Tormel\\Bench").EntraValor(L"Amplada", 640);
    return path;
  }();
  return file;
}

// The peer: its own connection with the settings the registry uses, and the id of
// the folder's key found once, as a program storing its own rows would keep it.
class PlainStatement {
 public:
  explicit PlainStatement(const char* sql) {
    sqlite3_open_v2(HiveFile().c_str(), &m_db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_busy_timeout(m_db, 10000);
    sqlite3_exec(m_db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    sqlite3_stmt* find = nullptr;
    sqlite3_prepare_v2(m_db, "SELECT key FROM vals WHERE folded = 'amplada'", -1, &find, nullptr);
    if (sqlite3_step(find) != SQLITE_ROW) std::abort();
    m_key = sqlite3_column_int64(find, 0);
    sqlite3_finalize(find);
    sqlite3_prepare_v2(m_db, sql, -1, &m_statement, nullptr);
  }
  ~PlainStatement() {
    sqlite3_finalize(m_statement);
    sqlite3_close(m_db);
  }
  sqlite3_stmt* Statement() const { return m_statement; }
  sqlite3_int64 Key() const { return m_key; }

 private:
  sqlite3* m_db = nullptr;
  sqlite3_stmt* m_statement = nullptr;
  sqlite3_int64 m_key = 0;
};

void BM_TornaValor(benchmark::State& state) {
  HiveFile();
  TCarpetaRegistry folder(L"Software\\Tormel\\Bench");
  folder.Obrir(TCarpetaRegistry::kNomesLectura);
  int value = 0;
  for (auto _ : state) {
    folder.TornaValor(L"Amplada", value, 0);
    benchmark::DoNotOptimize(value);
  }
  if (value != 640) state.SkipWithError("the value was not read");
  folder.Tancar();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TornaValor)->UseRealTime();

void BM_PlainSelect(benchmark::State& state) {
  PlainStatement plain("SELECT data FROM vals WHERE key = ?1 AND folded = ?2");
  sqlite3_stmt* select = plain.Statement();
  int value = 0;
  for (auto _ : state) {
    sqlite3_bind_int64(select, 1, plain.Key());
    sqlite3_bind_text(select, 2, "amplada", -1, SQLITE_STATIC);
    if (sqlite3_step(select) == SQLITE_ROW) value = *static_cast<const int*>(sqlite3_column_blob(select, 0));
    sqlite3_reset(select);
    benchmark::DoNotOptimize(value);
  }
  if (value != 640) state.SkipWithError("the value was not read");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PlainSelect)->UseRealTime();

void BM_EntraValor(benchmark::State& state) {
  HiveFile();
  TCarpetaRegistry folder(L"Software\\Tormel\\Bench");
  folder.Obrir(0);
  int value = 0;
  for (auto _ : state) {
    if (folder.EntraValor(L"Amplada", 640 + (value++ & 1)) != 0) state.SkipWithError("the value was not written");
  }
  folder.Tancar();
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_EntraValor)->UseRealTime();

void BM_PlainUpdate(benchmark::State& state) {
  PlainStatement plain("UPDATE vals SET data = ?1 WHERE key = ?2 AND folded = ?3");
  sqlite3_stmt* update = plain.Statement();
  int value = 0;
  for (auto _ : state) {
    const int data = 640 + (value++ & 1);
    sqlite3_bind_blob(update, 1, &data, sizeof data, SQLITE_STATIC);
    sqlite3_bind_int64(update, 2, plain.Key());
    sqlite3_bind_text(update, 3, "amplada", -1, SQLITE_STATIC);
    if (sqlite3_step(update) != SQLITE_DONE) state.SkipWithError("the row was not written");
    sqlite3_reset(update);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PlainUpdate)->UseRealTime();

}  // namespace
