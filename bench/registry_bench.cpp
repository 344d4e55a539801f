// Registry folder reads and writes against a plain prepared SQLite statement on
// the same row of the same database, with the same journal settings: what the
// registry layer (handles, names, case folding, the stored form) costs on top.
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/settings/carpetaregistry.h>

namespace {

// The hive's folder, removed when the run ends.
struct HiveFolder {
  HiveFolder() {
    char made[] = "/tmp/kwlib-bench-registry-XXXXXX";
    if (mkdtemp(made) == nullptr) std::abort();
    path = made;
  }
  ~HiveFolder() { std::filesystem::remove_all(path); }
  std::string path;
};

// One hive for the whole run, holding the folder and the value every benchmark uses.
const std::string& HiveFile() {
  static const HiveFolder folder;
  static const std::string file = [] {
    std::string path = folder.path + "/HKCU.db";
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

constexpr int kEnumValues = 10'000;

// A key of 10 000 values, made once; the key's id for the peer.
sqlite3_int64 EnumKey() {
  static const sqlite3_int64 id = [] {
    HiveFile();
    HKEY key = nullptr;
    if (kwplat::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Tormel\\Enum", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                nullptr) != ERROR_SUCCESS) {
      std::abort();
    }
    for (int i = 0; i < kEnumValues; ++i) {
      const DWORD data = static_cast<DWORD>(i);
      const std::wstring name = L"Valor" + std::to_wstring(i);
      kwplat::RegSetValueExW(key, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof data);
    }
    kwplat::RegCloseKey(key);
    sqlite3* db = nullptr;
    sqlite3_open_v2(HiveFile().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* find = nullptr;
    sqlite3_prepare_v2(db, "SELECT key FROM vals WHERE folded = 'valor0'", -1, &find, nullptr);
    if (sqlite3_step(find) != SQLITE_ROW) std::abort();
    const sqlite3_int64 found = sqlite3_column_int64(find, 0);
    sqlite3_finalize(find);
    sqlite3_close(db);
    return found;
  }();
  return id;
}

// Every value of the key by index, 0 to n-1, name, type and data, as an editor
// listing the key reads them.
void BM_RegEnumValue10k(benchmark::State& state) {
  EnumKey();
  HKEY key = nullptr;
  if (kwplat::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Tormel\\Enum", 0, KEY_READ, &key) != ERROR_SUCCESS) std::abort();
  for (auto _ : state) {
    DWORD count = 0;
    for (;; ++count) {
      wchar_t name[256];
      DWORD nameLength = 256, type = 0, data = 0, size = sizeof data;
      if (kwplat::RegEnumValueW(key, count, name, &nameLength, nullptr, &type, reinterpret_cast<BYTE*>(&data), &size) !=
          ERROR_SUCCESS) {
        break;
      }
      benchmark::DoNotOptimize(data);
    }
    if (count != kEnumValues) state.SkipWithError("the values were not all listed");
  }
  kwplat::RegCloseKey(key);
  state.SetItemsProcessed(state.iterations() * kEnumValues);
}
BENCHMARK(BM_RegEnumValue10k)->UseRealTime()->Unit(benchmark::kMillisecond);

// The same rows in one statement, in the same order.
void BM_PlainSelectAll10k(benchmark::State& state) {
  PlainStatement plain("SELECT name, type, data FROM vals WHERE key = ?1 ORDER BY id");
  sqlite3_stmt* select = plain.Statement();
  const sqlite3_int64 key = EnumKey();
  for (auto _ : state) {
    int count = 0;
    sqlite3_bind_int64(select, 1, key);
    while (sqlite3_step(select) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_text(select, 0));
      benchmark::DoNotOptimize(sqlite3_column_blob(select, 2));
      ++count;
    }
    sqlite3_reset(select);
    if (count != kEnumValues) state.SkipWithError("the rows were not all read");
  }
  state.SetItemsProcessed(state.iterations() * kEnumValues);
}
BENCHMARK(BM_PlainSelectAll10k)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
