// The registry calls give the results Windows gives. Each check states the fact it
// relies on and where it was seen on Windows: the Wine project's public conformance
// tests of the registry calls, dlls/advapi32/tests/registry.c, which pass on
// Windows (the test function is named in each comment). Sizes here count
// sizeof(wchar_t) = 4 bytes a character where Windows counts 2.
#include <signal.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/registry.h>

#include "support/privatehive.h"
#include "support/tempdir.h"

namespace {

using namespace kwplat;

const BYTE* Bytes(const wchar_t* text) { return reinterpret_cast<const BYTE*>(text); }
constexpr DWORD kChar = sizeof(wchar_t);

class RegistryResults : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Facts", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_key,
                              nullptr),
              ERROR_SUCCESS);
  }
  void TearDown() override { RegCloseKey(m_key); }
  // The size a query with no buffer reports for `name`.
  DWORD StoredSize(const wchar_t* name) const {
    DWORD size = 0xDEADBEEF;
    EXPECT_EQ(RegQueryValueExW(m_key, name, nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    return size;
  }

  kwtest::PrivateHive m_hive;
  HKEY m_key = nullptr;
};

// test_set_value, test_string_termination: a text given one character short of its
// terminator, with the terminator next in memory, is stored with it; a read of the
// size given is then ERROR_MORE_DATA. Without a terminator next, the bytes are
// stored as given, and a read of exactly that size succeeds.
TEST_F(RegistryResults, TextWithoutItsTerminator) {
  const wchar_t text[] = L"ThisNeverBreaks";
  const DWORD shortOne = sizeof text - kChar;
  ASSERT_EQ(RegSetValueExW(m_key, L"a", 0, REG_SZ, Bytes(text), shortOne), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"a"), sizeof text);
  wchar_t buffer[32];
  DWORD size = shortOne;
  EXPECT_EQ(RegQueryValueExW(m_key, L"a", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, sizeof text);

  const DWORD twoShort = sizeof text - 2 * kChar;  // 'k' follows
  ASSERT_EQ(RegSetValueExW(m_key, L"b", 0, REG_SZ, Bytes(text), twoShort), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"b"), twoShort);
  std::fill(std::begin(buffer), std::end(buffer), L'#');
  size = twoShort;
  EXPECT_EQ(RegQueryValueExW(m_key, L"b", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size), ERROR_SUCCESS);
  EXPECT_EQ(size, twoShort);
  EXPECT_EQ(std::wstring(buffer, 14), L"ThisNeverBreak");
  EXPECT_EQ(buffer[14], L'#');  // no terminator written past the data
}

// test_multistring_termination: "Aa\0Bb\0Cc\0" given through its last terminator is
// stored as it is; one character short with the terminator next gets one added
// (only one); two short, with 'c' next, is stored as given.
TEST_F(RegistryResults, MultiStringTermination) {
  const wchar_t list[] = L"Aa\0Bb\0Cc";  // the literal's own terminator ends "Cc"
  const DWORD whole = 9 * kChar;
  ASSERT_EQ(RegSetValueExW(m_key, L"all", 0, REG_MULTI_SZ, Bytes(list), whole), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"all"), whole);
  ASSERT_EQ(RegSetValueExW(m_key, L"one", 0, REG_MULTI_SZ, Bytes(list), whole - kChar), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"one"), whole);
  ASSERT_EQ(RegSetValueExW(m_key, L"two", 0, REG_MULTI_SZ, Bytes(list), whole - 2 * kChar), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"two"), whole - 2 * kChar);
}

// Windows counts two bytes a character. Code written for that gives half the size
// a text needs here; Windows would store the whole text, so the call is refused
// rather than the text cut. A size that keeps a real prefix is a prefix, and a size
// that ends inside a character keeps that character, as Windows keeps its bytes.
TEST_F(RegistryResults, SizesCountedAtTwoBytesACharacter) {
  const wchar_t text[] = L"hello world";
  const DWORD length = 11;
  EXPECT_EQ(RegSetValueExW(m_key, L"x", 0, REG_SZ, Bytes(text), (length + 1) * 2), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegSetValueExW(m_key, L"x", 0, REG_SZ, Bytes(text), length * 2), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(m_key, L"x", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(RegSetValueExW(m_key, L"prefix", 0, REG_SZ, Bytes(text), 3 * kChar), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"prefix"), 3 * kChar);
  ASSERT_EQ(RegSetValueExW(m_key, L"cut", 0, REG_SZ, Bytes(text), 3 * kChar + 1), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"cut"), 4 * kChar);
  // The same two-byte count on a short text still reaches its terminator: stored whole.
  ASSERT_EQ(RegSetValueExW(m_key, L"ab", 0, REG_SZ, Bytes(L"ab"), 3 * 2), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"ab"), 3 * kChar);
}

// An address nothing is mapped at.
const BYTE* const kBad = reinterpret_cast<const BYTE*>(std::uintptr_t{1});

// test_set_value: a bad data pointer with a size is ERROR_NOACCESS, for text and
// numbers alike, and so is a null one.
TEST_F(RegistryResults, BadDataPointersAreRefused) {
  EXPECT_EXIT(
      {
        const bool all = RegSetValueExW(m_key, L"v", 0, REG_SZ, kBad, 1) == ERROR_NOACCESS &&
                         RegSetValueExW(m_key, L"v", 0, REG_DWORD, kBad, 1) == ERROR_NOACCESS &&
                         RegSetValueExW(m_key, L"v", 0, REG_SZ, nullptr, 4) == ERROR_NOACCESS &&
                         RegSetValueExW(m_key, L"v", 0, REG_DWORD, nullptr, 4) == ERROR_NOACCESS;
        std::exit(all ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// test_set_value: null with size 0 is an empty value.
TEST_F(RegistryResults, ANullPointerOfSizeZeroIsAnEmptyValue) {
  EXPECT_EQ(RegSetValueExW(m_key, L"empty", 0, REG_DWORD, nullptr, 0), ERROR_SUCCESS);
  EXPECT_EQ(StoredSize(L"empty"), 0u);
}

// A buffer that cannot take the data is refused the same way.
TEST_F(RegistryResults, AQueryIntoABadBufferIsRefused) {
  const DWORD number = 7;
  ASSERT_EQ(RegSetValueExW(m_key, L"n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4), ERROR_SUCCESS);
  EXPECT_EXIT(
      {
        DWORD size = 4;
        std::exit(RegQueryValueExW(m_key, L"n", nullptr, nullptr, const_cast<BYTE*>(kBad), &size) == ERROR_NOACCESS ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// A buffer on the caller's stack, written without the kernel's check, takes the
// value all the same.
TEST_F(RegistryResults, AQueryIntoTheCallersStackTakesTheValue) {
  const DWORD number = 7;
  ASSERT_EQ(RegSetValueExW(m_key, L"n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4), ERROR_SUCCESS);
  DWORD local = 0, size = 4;
  ASSERT_EQ(RegQueryValueExW(m_key, L"n", nullptr, nullptr, reinterpret_cast<BYTE*>(&local), &size), ERROR_SUCCESS);
  EXPECT_EQ(local, 7u);
}

// On a signal's alternate stack, a read-only page above it is refused, not taken
// for the caller's frames. (ThreadSanitizer rightly stops the registry's
// allocations inside a signal handler; the other builds run the case.)
#if !defined(__SANITIZE_THREAD__)
TEST_F(RegistryResults, AReadOnlyPageAboveASignalStackIsRefused) {
  const DWORD number = 7;
  ASSERT_EQ(RegSetValueExW(m_key, L"n", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4), ERROR_SUCCESS);
  EXPECT_EXIT(
      {
        static HKEY key;
        static BYTE* readOnly;
        static LONG result = -1;
        key = m_key;
        readOnly = static_cast<BYTE*>(mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        const std::size_t altSize = 1 << 20;
        void* alt = mmap(nullptr, altSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        stack_t altStack{};
        altStack.ss_sp = alt;
        altStack.ss_size = altSize;
        struct sigaction action {};
        action.sa_flags = SA_ONSTACK;
        action.sa_handler = [](int) {
          DWORD room = 4;
          result = RegQueryValueExW(key, L"n", nullptr, nullptr, readOnly, &room);
        };
        if (readOnly == MAP_FAILED || alt == MAP_FAILED || sigaltstack(&altStack, nullptr) != 0 ||
            sigaction(SIGUSR1, &action, nullptr) != 0) {
          std::exit(2);
        }
        raise(SIGUSR1);
        std::exit(result == ERROR_NOACCESS ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
#endif

// test_enum_value: a name buffer too small gives ERROR_MORE_DATA with the type and
// the data's size filled in, the name's length and both buffers left alone; a data
// buffer too small gives the name and its length, the size, and leaves the data.
TEST_F(RegistryResults, EnumValueWithSmallBuffers) {
  ASSERT_EQ(RegSetValueExW(m_key, L"Test", 0, REG_SZ, Bytes(L"foobar"), 7 * kChar), ERROR_SUCCESS);
  wchar_t name[20];
  wchar_t data[20];
  std::fill(std::begin(name), std::end(name), L'#');
  std::fill(std::begin(data), std::end(data), L'#');
  DWORD nameLength = 3, type = 0, size = sizeof data;
  EXPECT_EQ(RegEnumValueW(m_key, 0, name, &nameLength, nullptr, &type, reinterpret_cast<BYTE*>(data), &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(nameLength, 3u);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(size, 7 * kChar);
  EXPECT_EQ(name[0], L'#');
  EXPECT_EQ(data[0], L'#');

  nameLength = 20;
  size = 2 * kChar;
  EXPECT_EQ(RegEnumValueW(m_key, 0, name, &nameLength, nullptr, &type, reinterpret_cast<BYTE*>(data), &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(nameLength, 4u);
  EXPECT_EQ(std::wstring(name), L"Test");
  EXPECT_EQ(size, 7 * kChar);
  EXPECT_EQ(data[0], L'#');
}

// test_query_value_ex: a missing value asked for its size alone sets the size to 0;
// with a buffer the size is left as it was. One variable may be both the type and
// the size.
TEST_F(RegistryResults, QueryValueSizes) {
  DWORD type = 0, size = 0xDEADBEEF;
  EXPECT_EQ(RegQueryValueExW(m_key, L"Nonexistent Value", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(size, 0u);
  BYTE buffer[8];
  size = sizeof buffer;
  EXPECT_EQ(RegQueryValueExW(m_key, L"Nonexistent Value", nullptr, &type, buffer, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(size, sizeof buffer);

  const DWORD number = 0x12345678;
  ASSERT_EQ(RegSetValueExW(m_key, L"BIN32", 0, REG_BINARY, reinterpret_cast<const BYTE*>(&number), 4), ERROR_SUCCESS);
  DWORD both = 4;
  EXPECT_EQ(RegQueryValueExW(m_key, L"BIN32", nullptr, &both, buffer, &both), ERROR_SUCCESS);
  EXPECT_EQ(both, 4u);
  EXPECT_EQ(std::memcmp(buffer, &number, 4), 0);
}

// test_reg_open_key: a predefined key opened without a path (null or "") is given
// back itself; an open key opened so is a new handle. Only the low 32 bits of a
// predefined key count. test_reg_close_key: a second close, and a close of null,
// are ERROR_INVALID_HANDLE; a handle the library never gave is too, and an open
// through null sets the result to null.
TEST_F(RegistryResults, OpenAndCloseHandles) {
  for (const wchar_t* none : {static_cast<const wchar_t*>(nullptr), L""}) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, none, 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(key, HKEY_CURRENT_USER);
    HKEY again = nullptr;
    EXPECT_EQ(RegOpenKeyExW(m_key, none, 0, KEY_READ, &again), ERROR_SUCCESS);
    EXPECT_NE(again, m_key);
    EXPECT_EQ(RegCloseKey(again), ERROR_SUCCESS);
  }
  for (const std::uint64_t high : {std::uint64_t{1}, std::uint64_t{0xDEADBEEF}, std::uint64_t{0xFFFFFFFF}}) {
    const auto padded = reinterpret_cast<HKEY>(reinterpret_cast<std::uintptr_t>(HKEY_CURRENT_USER) | high << 32);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(padded, L"Software\\Facts", 0, KEY_READ, &key), ERROR_SUCCESS) << std::hex << high;
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  }
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Facts", 0, KEY_READ, &key), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
  EXPECT_EXIT(
      {
        DWORD size = 0;
        const auto madeUp = reinterpret_cast<HKEY>(std::uintptr_t{0xCAFEBABE});
        std::exit(RegQueryValueExW(madeUp, L"v", nullptr, nullptr, nullptr, &size) == ERROR_INVALID_HANDLE &&
                          RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, &size) == ERROR_INVALID_HANDLE
                      ? 0
                      : 1);
      },
      ::testing::ExitedWithCode(0), "");
  key = reinterpret_cast<HKEY>(std::uintptr_t{0x1234});
  EXPECT_EQ(RegOpenKeyExW(nullptr, L"", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
}

// test_reg_create_key: Windows ignores the rights of the parent handle for a
// create: a parent opened for KEY_NOTIFY alone creates a sub-key.
// test_reg_delete_key: a null path is ERROR_INVALID_PARAMETER; "" deletes the key
// itself, which then cannot be opened.
TEST_F(RegistryResults, CreateAndDeleteThroughAKey) {
  HKEY notify = nullptr, child = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Facts", 0, KEY_NOTIFY, &notify), ERROR_SUCCESS);
  EXPECT_EQ(RegCreateKeyExW(notify, L"Subkey2", 0, nullptr, 0, KEY_SET_VALUE, nullptr, &child, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(child), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(notify), ERROR_SUCCESS);

  HKEY doomed = nullptr;
  ASSERT_EQ(RegCreateKeyExW(m_key, L"Doomed", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &doomed, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(doomed, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteKeyW(doomed, L""), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(doomed), ERROR_SUCCESS);
  HKEY gone = nullptr;
  EXPECT_EQ(RegOpenKeyExW(m_key, L"Doomed", 0, KEY_READ, &gone), ERROR_FILE_NOT_FOUND);
  // The hive's own root is not deleted.
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, L""), ERROR_ACCESS_DENIED);
}

// test_delete_value: a missing value, even with a 400-character name, is
// ERROR_FILE_NOT_FOUND.
TEST_F(RegistryResults, DeleteAMissingValue) {
  EXPECT_EQ(RegDeleteValueW(m_key, L"missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueW(m_key, std::wstring(400, L'x').c_str()), ERROR_FILE_NOT_FOUND);
}

}  // namespace

namespace {

// test_reg_create_key: a lasting key below a volatile one is
// ERROR_CHILD_MUST_BE_VOLATILE (1021); a volatile one is made; a create without
// the option of a volatile key that exists opens it.
TEST_F(RegistryResults, VolatileKeysHoldOnlyVolatileKeys) {
  HKEY fleeting = nullptr, child = nullptr;
  ASSERT_EQ(RegCreateKeyExW(m_key, L"Fleeting", 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &fleeting,
                            nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(RegCreateKeyExW(fleeting, L"Lasting", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, nullptr),
            ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_EQ(RegCreateKeyExW(m_key, L"Fleeting\\A\\B", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, nullptr),
            ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_EQ(RegOpenKeyExW(fleeting, L"A", 0, KEY_READ, &child), ERROR_FILE_NOT_FOUND) << "a refused path left a key";
  ASSERT_EQ(RegCreateKeyExW(fleeting, L"Child", 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &child,
                            nullptr),
            ERROR_SUCCESS);
  RegCloseKey(child);
  DWORD disposition = 0;
  ASSERT_EQ(RegCreateKeyExW(fleeting, L"Child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  RegCloseKey(child);
  RegCloseKey(fleeting);
}

// Volatile keys last until the machine restarts: a hive opened in the same boot
// keeps them, the first open after another boot drops them and keeps the rest.
// Each open is a process of its own, as each process keeps its connection.
TEST(RegistryVolatile, KeysGoWithTheBootTheyWereMadeIn) {
  kwtest::TempDir dir("kwlib-volatile");
  const std::string file = dir.At("HKCU.db");
  const auto inChild = [&file](const std::function<bool()>& body) {
    const pid_t pid = fork();
    if (pid == 0) {
      RegSetHiveFile(HKEY_CURRENT_USER, kwfw::Utf8ToWide(file).c_str());
      _exit(body() ? 0 : 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  };
  const auto exists = [](const wchar_t* path) {
    HKEY key = nullptr;
    const LONG result = RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &key);
    RegCloseKey(key);
    return result == ERROR_SUCCESS;
  };
  ASSERT_TRUE(inChild([] {
    HKEY key = nullptr;
    const DWORD value = 1;
    return RegCreateKeyExW(HKEY_CURRENT_USER, L"Lasting", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) == 0 &&
           RegCreateKeyExW(HKEY_CURRENT_USER, L"Fleeting\\Deep", 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                           nullptr, &key, nullptr) == 0 &&
           RegSetValueExW(key, L"v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4) == 0;
  }));
  EXPECT_TRUE(inChild([&] { return exists(L"Fleeting\\Deep") && exists(L"Lasting"); })) << "lost within the boot";
  // Another boot: the hive remembers the boot it last saw.
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, "UPDATE boot SET id = 'an-earlier-boot'", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(sqlite3_changes(db), 1);
  sqlite3_close(db);
  EXPECT_TRUE(inChild([&] { return !exists(L"Fleeting") && !exists(L"Fleeting\\Deep") && exists(L"Lasting"); }));
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  int values = -1;
  sqlite3_exec(
      db, "SELECT count(*) FROM vals",
      [](void* count, int, char** row, char**) {
        *static_cast<int*>(count) = std::atoi(row[0]);
        return 0;
      },
      &values, nullptr);
  sqlite3_close(db);
  EXPECT_EQ(values, 0) << "the volatile key's value outlived it";
}

}  // namespace
