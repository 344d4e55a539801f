// The registry calls on a real SQLite hive in a temporary folder: Windows' results
// and sizes, case folding, the stored bytes, orders, rights, deleted keys, a
// writer killed at random moments, and two processes writing one key at once.
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/registry.h>

#include "support/locales.h"
#include "support/privatehive.h"
#include "support/shell.h"
#include "support/stopwatch.h"

namespace {

using namespace kwplat;

class RegistryTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (HKEY key : m_open) RegCloseKey(key);
  }
  HKEY Create(const wchar_t* path, HKEY parent = HKEY_CURRENT_USER) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    m_open.push_back(key);
    return key;
  }
  static LONG SetText(HKEY key, const wchar_t* name, const std::wstring& text) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
  }
  static std::wstring Text(HKEY key, const wchar_t* name) {
    wchar_t buffer[64] = {};
    DWORD size = sizeof buffer;
    DWORD type = 0;
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size), 0);
    EXPECT_EQ(type, REG_SZ);
    return buffer;
  }
  // The bytes the database holds for a value, read past the library.
  std::string StoredBytes(const char* name) const {
    sqlite3* db = nullptr;
    sqlite3_open_v2(m_file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, "SELECT data FROM vals WHERE name = ?1", -1, &statement, nullptr);
    sqlite3_bind_text(statement, 1, name, -1, SQLITE_STATIC);
    std::string bytes;
    if (sqlite3_step(statement) == SQLITE_ROW) {
      bytes.assign(static_cast<const char*>(sqlite3_column_blob(statement, 0)), sqlite3_column_bytes(statement, 0));
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return bytes;
  }

  kwtest::PrivateHive m_hive;
  const kwtest::TempDir& m_dir = m_hive.Dir();
  const std::string& m_file = m_hive.File();
  std::vector<HKEY> m_open;
};

TEST_F(RegistryTest, ValuesKeepWindowsSizesAndBytes) {
  HKEY key = Create(L"Software\\Tormel\\App");
  ASSERT_EQ(SetText(key, L"Nom", L"hi\U0001F600"), 0);
  DWORD size = 0, type = 0;
  // Size without a buffer: three characters and the terminator, in wchar_t units.
  ASSERT_EQ(RegQueryValueExW(key, L"nom", nullptr, &type, nullptr, &size), 0);
  EXPECT_EQ(size, 4 * sizeof(wchar_t));
  wchar_t small[2];
  size = sizeof small;
  EXPECT_EQ(RegQueryValueExW(key, L"NOM", nullptr, nullptr, reinterpret_cast<BYTE*>(small), &size),
            static_cast<LONG>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 4 * sizeof(wchar_t));
  EXPECT_EQ(Text(key, L"Nom"), L"hi\U0001F600");
  // On disk, UTF-16LE with the surrogate pair and the terminator, as Windows keeps it.
  EXPECT_EQ(StoredBytes("Nom"), std::string("h\0i\0\x3D\xD8\x00\xDE\0\0", 10));

  DWORD number = 0x01020304;
  ASSERT_EQ(RegSetValueExW(key, L"N", 0, REG_DWORD, reinterpret_cast<BYTE*>(&number), 4), 0);
  EXPECT_EQ(StoredBytes("N"), std::string("\x04\x03\x02\x01", 4));
  const BYTE empty = 0;
  ASSERT_EQ(RegSetValueExW(key, L"Buit", 0, REG_BINARY, &empty, 0), 0);
  size = 10;
  EXPECT_EQ(RegQueryValueExW(key, L"Buit", nullptr, &type, nullptr, &size), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(RegQueryValueExW(key, L"Cap", nullptr, nullptr, nullptr, &size), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
}

TEST_F(RegistryTest, NamesMatchWithTheLibraryCaseFold) {
  HKEY key = Create(L"Software\\Été");
  ASSERT_EQ(SetText(key, L"Straße", L"1"), 0);
  // One character folds to one: ß and ẞ are one name, "SS" is another, as on Windows.
  ASSERT_EQ(SetText(key, L"STRASSE", L"2"), 0);
  EXPECT_EQ(Text(key, L"STRAẞE"), L"1");
  EXPECT_EQ(Text(key, L"strasse"), L"2");
  HKEY again = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\ÉTÉ\\", 0, KEY_READ, &again), 0);
  m_open.push_back(again);
  EXPECT_EQ(Text(again, L"straße"), L"1");
  // The name keeps the case it was made with.
  wchar_t name[16];
  DWORD length = 16;
  ASSERT_EQ(RegEnumKeyExW(HKEY_CURRENT_USER, 0, name, &length, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(std::wstring(name, length), L"Software");
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"\\Software", 0, KEY_READ, &again), static_cast<LONG>(ERROR_BAD_PATHNAME));
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\\\Été", 0, KEY_READ, &again), 0);
  m_open.push_back(again);
}

TEST_F(RegistryTest, NonAsciiNamesMatchTheSameInEveryLocale) {
  struct {
    const wchar_t* made;
    const wchar_t* asked;
    bool found;
  } cases[] = {{L"Donn\u00E9es", L"DONN\u00C9ES", true},
               {L"\u03A9mega", L"\u03C9MEGA", true},
               {L"\u0424\u0430\u0439\u043B", L"\u0444\u0410\u0419\u041B", true},
               {L"\u01C5", L"\u01C6", true},
               {L"\u0130stanbul", L"istanbul", false},
               {L"\u0131", L"I", false},
               {L"I", L"i", true}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    const std::wstring folder = L"Software\\" + kwfw::Utf8ToWide(locale);
    HKEY key = Create(folder.c_str());
    for (const auto& c : cases) {
      ASSERT_EQ(SetText(key, c.made, L"v"), 0);
      DWORD size = 0;
      EXPECT_EQ(RegQueryValueExW(key, c.asked, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS, c.found)
          << locale << " " << (&c - cases);
      HKEY sub = nullptr;
      ASSERT_EQ(RegCreateKeyExW(key, c.made, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &sub, nullptr), 0);
      RegCloseKey(sub);
      const LONG opened = RegOpenKeyExW(key, c.asked, 0, KEY_READ, &sub);
      EXPECT_EQ(opened == ERROR_SUCCESS, c.found) << locale << " " << (&c - cases);
      if (opened == ERROR_SUCCESS) RegCloseKey(sub);
    }
  }
}

// A hive written when names were found by their full folding ("strasse" for
// "Straße") is still read: its folded names are brought to the current fold.
TEST_F(RegistryTest, HiveWithFullyFoldedNamesIsStillRead) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(m_file.c_str(), &db), SQLITE_OK);
  const char* sql =
      "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
      " name TEXT NOT NULL, folded TEXT NOT NULL, UNIQUE(parent, folded));"
      "CREATE TABLE vals(id INTEGER PRIMARY KEY, key INTEGER NOT NULL,"
      " name TEXT NOT NULL, folded TEXT NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
      "INSERT INTO keys(parent, name, folded) VALUES(0, 'Software', 'software');"
      "INSERT INTO keys(parent, name, folded) VALUES(1, '\xC4\xB0stanbul', 'i\xCC\x87stanbul');"
      "INSERT INTO vals(key, name, folded, type, data) VALUES(2, 'Stra\xC3\x9F" "e', 'strasse', 1, x'31000000');";
  ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);

  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\\u0130STANBUL", 0, KEY_ALL_ACCESS, &key), 0);
  m_open.push_back(key);
  EXPECT_EQ(Text(key, L"STRA\u1E9EE"), L"1");
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(key, L"STRASSE", nullptr, nullptr, nullptr, &size), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  // Its keys have no volatile mark and last; new ones can carry it.
  HKEY sub = nullptr;
  EXPECT_EQ(RegCreateKeyExW(key, L"Fleeting", 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &sub, nullptr), 0);
  m_open.push_back(sub);
  EXPECT_EQ(RegCreateKeyExW(sub, L"Lasting", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &sub, nullptr),
            static_cast<LONG>(ERROR_CHILD_MUST_BE_VOLATILE));
}

TEST_F(RegistryTest, EnumerationOrdersAndBuffers) {
  HKEY key = Create(L"Ordre");
  for (const wchar_t* name : {L"zeta", L"Alpha", L"mid"}) {
    ASSERT_EQ(SetText(key, name, name), 0);
    Create(name, key);
  }
  ASSERT_EQ(SetText(key, L"ALPHA", L"again"), 0);  // an overwrite keeps its place
  std::vector<std::wstring> values, keys;
  wchar_t name[16];
  DWORD length = 16;
  for (DWORD i = 0; RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0; ++i, length = 16) {
    values.emplace_back(name, length);
  }
  for (DWORD i = 0; RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0; ++i, length = 16) {
    keys.emplace_back(name, length);
  }
  EXPECT_EQ(values, (std::vector<std::wstring>{L"zeta", L"Alpha", L"mid"}));
  EXPECT_EQ(keys, (std::vector<std::wstring>{L"Alpha", L"mid", L"zeta"}));
  EXPECT_EQ(Text(key, L"alpha"), L"again");
  length = 16;
  EXPECT_EQ(RegEnumValueW(key, 3, name, &length, nullptr, nullptr, nullptr, nullptr),
            static_cast<LONG>(ERROR_NO_MORE_ITEMS));
  length = 4;  // "zeta" needs five with its terminator
  EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
            static_cast<LONG>(ERROR_MORE_DATA));
  DWORD size = 4;
  wchar_t data[1];
  length = 16;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(data), &size),
            static_cast<LONG>(ERROR_MORE_DATA));
  EXPECT_EQ(size, 5 * sizeof(wchar_t));
}

TEST_F(RegistryTest, RightsDeletesAndDeletedKeys) {
  HKEY key = Create(L"A\\B");
  HKEY readOnly = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"A", 0, KEY_READ, &readOnly), 0);
  m_open.push_back(readOnly);
  EXPECT_EQ(SetText(readOnly, L"x", L"1"), static_cast<LONG>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L"A"), static_cast<LONG>(ERROR_ACCESS_DENIED));  // has B
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"A\\C", 0, KEY_READ, &readOnly), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  ASSERT_EQ(SetText(key, L"v", L"1"), 0);
  EXPECT_EQ(RegDeleteValueW(key, L"V"), 0);
  EXPECT_EQ(RegDeleteValueW(key, L"v"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  ASSERT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L"a\\b"), 0);
  // A handle to a deleted key answers 1018, and a key made later is not reached.
  Create(L"A\\B");
  EXPECT_EQ(SetText(key, L"v", L"1"), static_cast<LONG>(ERROR_KEY_DELETED));
  EXPECT_EQ(RegCloseKey(HKEY_CLASSES_ROOT), static_cast<LONG>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, L"x", 0, KEY_READ, &readOnly), static_cast<LONG>(ERROR_INVALID_HANDLE));
}

TEST_F(RegistryTest, HiveThatCannotBeMadeIsEmptyAndRefusesChanges) {
  // The hive's folder would have to be made inside a regular file.
  RegSetHiveFile(HKEY_CURRENT_USER, kwfw::Utf8ToWide(m_dir.At("HKCU.db/sub/HKCU.db")).c_str());
  std::FILE* blocker = std::fopen(m_file.c_str(), "w");
  ASSERT_NE(blocker, nullptr);
  std::fclose(blocker);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            static_cast<LONG>(ERROR_ACCESS_DENIED));
}

TEST_F(RegistryTest, ThreadsShareOneHive) {
  HKEY shared = Create(L"Software\\Threads");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([shared, t] {
      HKEY own = nullptr;
      RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Threads", 0, KEY_ALL_ACCESS, &own);
      for (DWORD i = 0; i < 100; ++i) {
        const std::wstring name = L"t" + std::to_wstring(t) + L"_" + std::to_wstring(i);
        EXPECT_EQ(RegSetValueExW(i % 2 == 0 ? shared : own, name.c_str(), 0, REG_DWORD,
                                 reinterpret_cast<const BYTE*>(&i), sizeof i), 0);
        DWORD back = 0, size = sizeof back;
        EXPECT_EQ(RegQueryValueExW(own, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&back), &size), 0);
        EXPECT_EQ(back, i);
      }
      RegCloseKey(own);
    });
  }
  for (std::thread& thread : threads) thread.join();
  DWORD count = 0;
  wchar_t name[16];
  for (DWORD length = 16; RegEnumValueW(shared, count, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
       length = 16) {
    ++count;
  }
  EXPECT_EQ(count, 400u);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  // Only whole lines: a line the writer was killed in the middle of was not reported.
  for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}

std::string IntegrityCheck(const std::string& file) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr);
  std::string answer = sqlite3_step(statement) == SQLITE_ROW
                           ? reinterpret_cast<const char*>(sqlite3_column_text(statement, 0))
                           : "no answer";
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return answer;
}

TEST_F(RegistryTest, WriterKilledAtRandomMomentsLosesNothingReported) {
  std::mt19937 random(20261122);
  for (int round = 0; round < 30; ++round) {
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const std::string prefix = "r" + std::to_string(round) + "_";
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      dup2(pipeFds[1], STDOUT_FILENO);
      close(pipeFds[0]);
      execl(KW_REGWRITER, KW_REGWRITER, m_file.c_str(), "Software\\Kill", prefix.c_str(), "100000",
            static_cast<char*>(nullptr));
      _exit(127);
    }
    close(pipeFds[1]);
    // The kill falls after the first reported write, however slow the machine.
    std::string reported;
    char buffer[4096];
    for (ssize_t n; reported.find('\n') == std::string::npos && (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) {
      reported.append(buffer, n);
    }
    ASSERT_NE(reported.find('\n'), std::string::npos) << "round " << round << ": the writer ended before its first write";
    std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution(0, 250)(random)));
    kill(child, SIGKILL);
    for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) reported.append(buffer, n);
    close(pipeFds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended before it was killed";

    ASSERT_EQ(IntegrityCheck(m_file), "ok") << "round " << round;
    HKEY key = nullptr;
    std::vector<std::string> names = Lines(reported);
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Kill", 0, KEY_READ, &key), 0);
    for (std::size_t i = 0; i < names.size(); ++i) {
      DWORD value = 0xFFFFFFFF, size = sizeof value;
      ASSERT_EQ(RegQueryValueExW(key, kwfw::Utf8ToWide(names[i]).c_str(), nullptr, nullptr,
                                 reinterpret_cast<BYTE*>(&value), &size), 0) << names[i];
      EXPECT_EQ(value, i);
    }
    RegCloseKey(key);
  }
}

TEST_F(RegistryTest, TwoProcessesWritingOneKeyAtOnce) {
  const std::string command = std::string(KW_REGWRITER) + " " + m_file + " 'Software\\Both' ";
  std::string first, second;
  std::thread one([&] { first = kwtest::Output(command + "a 1000"); });
  std::thread two([&] { second = kwtest::Output(command + "b 1000"); });
  one.join();
  two.join();
  ASSERT_EQ(Lines(first).size(), 1000u);
  ASSERT_EQ(Lines(second).size(), 1000u);
  HKEY key = Create(L"Software\\Both");
  std::set<std::wstring> seen;
  wchar_t name[16];
  DWORD length = 16;
  for (DWORD i = 0; RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0; ++i, length = 16) {
    seen.emplace(name, length);
  }
  EXPECT_EQ(seen.size(), 2000u);
  EXPECT_TRUE(seen.count(L"a999") == 1 && seen.count(L"b0") == 1);
}

}  // namespace

namespace {

TEST_F(RegistryTest, NameLimitsCountUtf16Units) {
  // Windows' limits: 255 characters a key name, 16383 a value name, counted in
  // UTF-16 units, so 128 emoji (256 units) are one too many.
  HKEY key = nullptr;
  for (const std::wstring& refused : {std::wstring(256, L'k'), std::wstring(128, L'\U0001F600'),
                                      L"ok\\" + std::wstring(256, L'k') + L"\\deeper"}) {
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, refused.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              static_cast<LONG>(ERROR_INVALID_PARAMETER));
  }
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"ok", 0, KEY_READ, &key), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
  HKEY longest = Create((std::wstring(255, L'k') + L"\\" + std::wstring(127, L'\U0001F600')).c_str());
  const std::wstring valueName(16383, L'v');
  EXPECT_EQ(SetText(longest, valueName.c_str(), L"x"), 0);
  EXPECT_EQ(SetText(longest, (valueName + L"v").c_str(), L"x"), static_cast<LONG>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(SetText(longest, (std::wstring(8191, L'v') + std::wstring(1, L'\U0001F600')).c_str(), L"x"), 0);
  EXPECT_EQ(SetText(longest, (std::wstring(8190, L'v') + std::wstring(4097, L'\U0001F600')).c_str(), L"x"),
            static_cast<LONG>(ERROR_INVALID_PARAMETER));
}

class RegistryTransactionTest : public RegistryTest {
 protected:
  void TearDown() override {
    RegistryTest::TearDown();
    if (m_transaction != INVALID_HANDLE_VALUE) CloseHandle(m_transaction);
  }
  HKEY CreateIn(const wchar_t* path, HKEY parent = HKEY_CURRENT_USER) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyTransactedW(parent, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr, m_transaction,
                                      nullptr),
              0);
    m_open.push_back(key);
    return key;
  }
  bool Exists(const wchar_t* path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &key) != 0) return false;
    RegCloseKey(key);
    return true;
  }
  HANDLE m_transaction = CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
};

TEST_F(RegistryTransactionTest, ChangesShowAtCommitAllAtOnce) {
  ASSERT_NE(m_transaction, INVALID_HANDLE_VALUE);
  ASSERT_EQ(SetText(Create(L"Old"), L"v", L"before"), 0);
  HKEY key = CreateIn(L"New\\Inner");
  ASSERT_EQ(SetText(key, L"v", L"1"), 0);
  // A key opened below a key of the transaction is in it too.
  HKEY below = nullptr;
  ASSERT_EQ(RegCreateKeyExW(key, L"Below", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &below, nullptr), 0);
  m_open.push_back(below);
  ASSERT_EQ(SetText(below, L"w", L"2"), 0);
  HKEY old = nullptr;
  ASSERT_EQ(RegOpenKeyTransactedW(HKEY_CURRENT_USER, L"Old", 0, KEY_ALL_ACCESS, &old, m_transaction, nullptr), 0);
  m_open.push_back(old);
  ASSERT_EQ(SetText(old, L"v", L"after"), 0);
  EXPECT_EQ(Text(old, L"v"), L"after");  // the transaction sees its own changes
  // Outside it, reads see the hive as it was (a write would wait for the end).
  EXPECT_FALSE(Exists(L"New"));
  HKEY outside = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Old", 0, KEY_READ, &outside), 0);
  m_open.push_back(outside);
  EXPECT_EQ(Text(outside, L"v"), L"before");
  ASSERT_TRUE(CommitTransaction(m_transaction));
  EXPECT_TRUE(Exists(L"New\\Inner\\Below"));
  EXPECT_EQ(Text(outside, L"v"), L"after");
  // Ended: its keys change nothing more, and it cannot end twice.
  EXPECT_EQ(SetText(key, L"v", L"late"), static_cast<LONG>(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(CommitTransaction(m_transaction));
  EXPECT_EQ(GetLastError(), ERROR_TRANSACTION_NOT_ACTIVE);
  EXPECT_FALSE(RollbackTransaction(m_transaction));
  HKEY late = nullptr;
  EXPECT_EQ(RegCreateKeyTransactedW(HKEY_CURRENT_USER, L"Late", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &late, nullptr,
                                    m_transaction, nullptr),
            static_cast<LONG>(ERROR_TRANSACTION_NOT_ACTIVE));
}

TEST_F(RegistryTransactionTest, RollbackAndAnUncommittedCloseDiscardEverything) {
  ASSERT_EQ(SetText(Create(L"Kept\\Child"), L"v", L"1"), 0);
  HKEY kept = CreateIn(L"Kept");
  ASSERT_EQ(RegDeleteKeyW(kept, L"Child"), 0);
  ASSERT_EQ(SetText(CreateIn(L"Gone"), L"v", L"1"), 0);
  ASSERT_TRUE(RollbackTransaction(m_transaction));
  EXPECT_TRUE(Exists(L"Kept\\Child"));
  EXPECT_FALSE(Exists(L"Gone"));

  CloseHandle(m_transaction);
  m_transaction = CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
  ASSERT_EQ(SetText(CreateIn(L"Gone"), L"v", L"1"), 0);
  ASSERT_TRUE(CloseHandle(m_transaction));
  m_transaction = INVALID_HANDLE_VALUE;
  EXPECT_FALSE(Exists(L"Gone"));
  // The hive takes writes again once the transaction is over.
  EXPECT_EQ(SetText(Create(L"After"), L"v", L"1"), 0);
}

TEST_F(RegistryTransactionTest, BadHandlesAndAFailedOperationInside) {
  HKEY key = nullptr;
  for (HANDLE bad : {static_cast<HANDLE>(nullptr), INVALID_HANDLE_VALUE, reinterpret_cast<HANDLE>(0x1234)}) {
    EXPECT_EQ(RegCreateKeyTransactedW(HKEY_CURRENT_USER, L"X", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr, bad,
                                      nullptr),
              static_cast<LONG>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(RegOpenKeyTransactedW(HKEY_CURRENT_USER, L"X", 0, KEY_READ, &key, bad, nullptr),
              static_cast<LONG>(ERROR_INVALID_HANDLE));
    EXPECT_FALSE(CommitTransaction(bad));
  }
  // A failed operation undoes only itself: the transaction goes on and commits.
  HKEY parent = CreateIn(L"P");
  ASSERT_EQ(SetText(parent, L"v", L"1"), 0);
  CreateIn(L"P\\Child");
  EXPECT_EQ(RegDeleteKeyW(HKEY(parent), L""), static_cast<LONG>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(RegCreateKeyTransactedW(parent, std::wstring(256, L'x').c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                    nullptr, m_transaction, nullptr),
            static_cast<LONG>(ERROR_INVALID_PARAMETER));
  ASSERT_TRUE(CommitTransaction(m_transaction));
  EXPECT_TRUE(Exists(L"P\\Child"));
  EXPECT_EQ(Text(Create(L"P"), L"v"), L"1");
}

}  // namespace

namespace {

// The values of a key by index, as RegEnumValueW gives them.
std::vector<std::wstring> EnumeratedNames(HKEY key) {
  std::vector<std::wstring> names;
  wchar_t name[64];
  for (DWORD i = 0;; ++i) {
    DWORD length = 64;
    if (RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != 0) break;
    names.emplace_back(name, length);
  }
  return names;
}

TEST_F(RegistryTest, EnumerationByIndexFollowsEveryChange) {
  // A reference list in creation order, against index reads made one after the
  // other (as an enumeration makes them), twice at one index, or anywhere, between
  // writes and deletes of this connection, commits of another, and deletes made
  // past the library. The names outnumber a read-ahead batch.
  const unsigned seed = std::random_device{}();
  std::mt19937 random(seed);
  HKEY key = Create(L"Model");
  sqlite3* outside = nullptr;
  ASSERT_EQ(sqlite3_open(m_file.c_str(), &outside), SQLITE_OK);
  sqlite3_busy_timeout(outside, 10000);
  std::vector<std::wstring> model;
  DWORD next = 0;
  for (int step = 0; step < 4000; ++step) {
    const int op = static_cast<int>(random() % 11);
    const std::wstring name = L"v" + std::to_wstring(random() % 150);
    if (op == 10) {
      const std::string sql = "DELETE FROM vals WHERE folded = '" + kwfw::WideToUtf8(name) +
                              "' AND key = (SELECT id FROM keys WHERE parent = 0 AND folded = 'model')";
      ASSERT_EQ(sqlite3_exec(outside, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
      if (const auto at = std::find(model.begin(), model.end(), name); at != model.end()) model.erase(at);
    } else if (op < 2) {
      ASSERT_EQ(SetText(key, name.c_str(), L"x"), 0);
      if (std::find(model.begin(), model.end(), name) == model.end()) model.push_back(name);
    } else if (op < 4) {
      const auto at = std::find(model.begin(), model.end(), name);
      EXPECT_EQ(RegDeleteValueW(key, name.c_str()) == 0, at != model.end()) << "seed " << seed;
      if (at != model.end()) model.erase(at);
    } else if (op == 4) {
      // Another connection commits a change.
      HANDLE transaction = CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
      HKEY other = nullptr;
      ASSERT_EQ(RegOpenKeyTransactedW(HKEY_CURRENT_USER, L"Model", 0, KEY_ALL_ACCESS, &other, transaction, nullptr), 0);
      const auto at = std::find(model.begin(), model.end(), name);
      if (at != model.end()) {
        ASSERT_EQ(RegDeleteValueW(other, name.c_str()), 0);
        model.erase(at);
      } else {
        ASSERT_EQ(SetText(other, name.c_str(), L"y"), 0);
        model.push_back(name);
      }
      RegCloseKey(other);
      ASSERT_TRUE(CommitTransaction(transaction));
      CloseHandle(transaction);
    } else {
      const DWORD index = op == 5 ? static_cast<DWORD>(random() % (model.size() + 2)) : op == 6 && next > 0 ? next - 1 : next;
      wchar_t buffer[16];
      DWORD length = 16;
      const LONG result = RegEnumValueW(key, index, buffer, &length, nullptr, nullptr, nullptr, nullptr);
      if (index < model.size()) {
        ASSERT_EQ(result, 0) << "seed " << seed << ", step " << step << ", index " << index;
        ASSERT_EQ(std::wstring(buffer, length), model[index]) << "seed " << seed << ", step " << step;
      } else {
        ASSERT_EQ(result, static_cast<LONG>(ERROR_NO_MORE_ITEMS)) << "seed " << seed << ", step " << step;
      }
      next = index + 1 > model.size() ? 0 : index + 1;
    }
  }
  sqlite3_close(outside);
  EXPECT_EQ(EnumeratedNames(key), model) << "seed " << seed;
}

TEST_F(RegistryTest, LargeValuesEnumerateWhole) {
  // Values whose data fills a read-ahead batch by bytes long before by count.
  HKEY key = Create(L"Software\\Large");
  const auto content = [](DWORD i) { return std::string(100 * 1024 + i, static_cast<char>('a' + i)); };
  for (DWORD i = 0; i < 8; ++i) {
    const std::string data = content(i);
    ASSERT_EQ(RegSetValueExW(key, (L"big" + std::to_wstring(i)).c_str(), 0, REG_BINARY,
                             reinterpret_cast<const BYTE*>(data.data()), static_cast<DWORD>(data.size())), 0);
  }
  std::string buffer(200 * 1024, '\0');
  DWORD i = 0;
  for (;; ++i) {
    wchar_t name[16];
    DWORD length = 16, size = static_cast<DWORD>(buffer.size());
    const LONG result = RegEnumValueW(key, i, name, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.data()), &size);
    if (result == static_cast<LONG>(ERROR_NO_MORE_ITEMS)) break;
    ASSERT_EQ(result, 0);
    EXPECT_EQ(std::wstring(name, length), L"big" + std::to_wstring(i));
    EXPECT_EQ(buffer.substr(0, size), content(i)) << "value " << i;
  }
  EXPECT_EQ(i, 8u);
}

TEST_F(RegistryTest, EnumerationSeesAnotherProcesssCommitAtTheNextIndex) {
  // Values read ahead must not outlive a change: another process rewrites the
  // data of values the walk has passed and of values still to come.
  HKEY key = Create(L"Software\\Seen");
  for (DWORD i = 0; i < 100; ++i) {
    const DWORD data = 1000 + i;
    ASSERT_EQ(RegSetValueExW(key, (L"v" + std::to_wstring(i)).c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data),
                             sizeof data), 0);
  }
  auto dataAt = [&](DWORD index) {
    wchar_t name[16];
    DWORD length = 16, data = 0, size = sizeof data;
    EXPECT_EQ(RegEnumValueW(key, index, name, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(&data), &size), 0);
    return data;
  };
  for (DWORD i = 0; i < 10; ++i) ASSERT_EQ(dataAt(i), 1000 + i);
  const std::string written = kwtest::Output(std::string(KW_REGWRITER) + " '" + m_file + "' 'Software\\Seen' v 20");
  ASSERT_EQ(Lines(written).size(), 20u) << written;
  EXPECT_EQ(dataAt(10), 10u);
  EXPECT_EQ(dataAt(3), 3u);
  EXPECT_EQ(dataAt(4), 4u);
  EXPECT_EQ(dataAt(20), 1020u);
}

TEST_F(RegistryTest, EnumeratingManyValuesAndKeysIsLinear) {
  // 20 000 values and 5 000 sub-keys: counting rows from the start at every index
  // took minutes; reading them in order takes well under a second.
  HKEY key = Create(L"Many");
  for (int i = 0; i < 20000; ++i) ASSERT_EQ(SetText(key, (L"v" + std::to_wstring(i)).c_str(), L"x"), 0);
  for (int i = 0; i < 5000; ++i) Create((L"k" + std::to_wstring(i)).c_str(), key);
  std::size_t values = 0, keys = 0;
  const double seconds = kwtest::SecondsTaken([&] {
    wchar_t name[32];
    BYTE data[16];
    for (DWORD i = 0;; ++i, ++values) {
      DWORD length = 32, size = 0;
      // The size first, then the data, as callers ask.
      if (RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, &size) != 0) break;
      length = 32;
      size = sizeof data;
      ASSERT_EQ(RegEnumValueW(key, i, name, &length, nullptr, nullptr, data, &size), 0);
    }
    for (DWORD i = 0;; ++i, ++keys) {
      DWORD length = 32;
      if (RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != 0) break;
    }
  });
  EXPECT_EQ(values, 20000u);
  EXPECT_EQ(keys, 5000u);
  EXPECT_LT(seconds, 30.0);
}

TEST_F(RegistryTest, ARecursiveWalkComesBackToItsParentInOneStep) {
  // Each of 40 000 sub-keys looked into between two steps of its parent's walk, as
  // a recursive listing does: counting the parent's rows from the start again at
  // every step took a minute; in order, about a second.
  HKEY key = Create(L"Wide");
  for (int i = 0; i < 40000; ++i) {
    HKEY sub = nullptr;
    ASSERT_EQ(RegCreateKeyExW(key, (L"k" + std::to_wstring(i)).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &sub,
                              nullptr), 0);
    RegCloseKey(sub);
  }
  std::size_t keys = 0;
  const double seconds = kwtest::SecondsTaken([&] {
    wchar_t name[32];
    for (DWORD i = 0;; ++i, ++keys) {
      DWORD length = 32;
      if (RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != 0) break;
      HKEY sub = nullptr;
      ASSERT_EQ(RegOpenKeyExW(key, name, 0, KEY_READ, &sub), 0);
      length = 32;
      EXPECT_EQ(RegEnumKeyExW(sub, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
                static_cast<LONG>(ERROR_NO_MORE_ITEMS));
      length = 32;
      EXPECT_EQ(RegEnumValueW(sub, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
                static_cast<LONG>(ERROR_NO_MORE_ITEMS));
      RegCloseKey(sub);
    }
  });
  EXPECT_EQ(keys, 40000u);
  EXPECT_LT(seconds, 30.0);
}

TEST_F(RegistryTest, ARolledBackTransactionLeavesNothingToEnumerate) {
  HKEY key = Create(L"Undo");
  ASSERT_EQ(SetText(key, L"kept", L"1"), 0);
  HANDLE transaction = CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
  HKEY inside = nullptr;
  ASSERT_EQ(RegOpenKeyTransactedW(HKEY_CURRENT_USER, L"Undo", 0, KEY_ALL_ACCESS, &inside, transaction, nullptr), 0);
  ASSERT_EQ(SetText(inside, L"undone", L"2"), 0);
  EXPECT_EQ(EnumeratedNames(inside), (std::vector<std::wstring>{L"kept", L"undone"}));
  ASSERT_TRUE(RollbackTransaction(transaction));
  EXPECT_EQ(EnumeratedNames(inside), std::vector<std::wstring>{L"kept"});
  EXPECT_EQ(EnumeratedNames(key), std::vector<std::wstring>{L"kept"});
  RegCloseKey(inside);
  CloseHandle(transaction);
}

}  // namespace
