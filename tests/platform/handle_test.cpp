// Handles: a closed handle never reaches another object, a made-up value reaches
// nothing, and a handle of one kind is refused by the calls of another, on one
// thread and on several at once.
#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/event.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/filemapping.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/process.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/platform/service.h>

namespace {

HANDLE Value(std::uintptr_t value) { return reinterpret_cast<HANDLE>(value); }

bool Signalled(HANDLE event) { return kwplat::WaitForSingleObject(event, 0) == WAIT_OBJECT_0; }

// Every call that takes a handle refuses `handle` with ERROR_INVALID_HANDLE.
void ExpectRefusedEverywhere(HANDLE handle, const char* what) {
  SCOPED_TRACE(what);
  auto refused = [](bool failed) {
    EXPECT_TRUE(failed);
    EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  };
  refused(!kwplat::SetEvent(handle));
  refused(!kwplat::ResetEvent(handle));
  refused(kwplat::WaitForSingleObject(handle, 0) == WAIT_FAILED);
  char byte = 0;
  DWORD count = 0;
  refused(!kwplat::ReadFile(handle, &byte, 1, &count, nullptr));
  refused(!kwplat::WriteFile(handle, &byte, 1, &count, nullptr));
  DWORD code = 0;
  refused(!kwplat::GetExitCodeProcess(handle, &code));
  refused(!kwplat::TerminateProcess(handle, 1));
  WIN32_FIND_DATAW found{};
  refused(!kwplat::FindNextFileW(handle, &found));
  refused(!kwplat::FindClose(handle));
  refused(kwplat::MapViewOfFile(handle, FILE_MAP_READ, 0, 0, 0) == nullptr);
  refused(!kwplat::CloseServiceHandle(static_cast<SC_HANDLE>(handle)));
  refused(!kwplat::CloseHandle(handle));
  DWORD type = 0, size = sizeof code;
  EXPECT_EQ(kwplat::RegQueryValueExW(static_cast<HKEY>(handle), L"x", nullptr, &type, reinterpret_cast<BYTE*>(&code), &size),
            ERROR_INVALID_HANDLE);
  EXPECT_EQ(kwplat::RegCloseKey(static_cast<HKEY>(handle)), ERROR_INVALID_HANDLE);
}

TEST(Handles, MadeUpValuesReachNothing) {
  // A block that starts as a handle object of the old layout did: its kind first.
  std::uint32_t forged[16] = {0x4B574556, 0x4B574556, 0x4B575049, 0x4B575052};
  auto heap = std::make_unique<std::uint32_t[]>(16);
  std::memcpy(heap.get(), forged, sizeof forged);
  ExpectRefusedEverywhere(nullptr, "null");
  ExpectRefusedEverywhere(INVALID_HANDLE_VALUE, "INVALID_HANDLE_VALUE");
  ExpectRefusedEverywhere(forged, "a forged object on the stack");
  ExpectRefusedEverywhere(heap.get(), "a forged object on the heap");
  ExpectRefusedEverywhere(Value(0x12345678), "an unmapped address");
  ExpectRefusedEverywhere(Value(0x10000), "the first address above descriptors");
  ExpectRefusedEverywhere(Value(~std::uintptr_t{0} - 3), "the top of the address space");

  HANDLE event = kwplat::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ASSERT_NE(event, nullptr);
  const auto value = reinterpret_cast<std::uintptr_t>(event);
  ExpectRefusedEverywhere(Value(value + 1), "an open handle plus one");
  ExpectRefusedEverywhere(Value(value + 4), "the next slot");
  ExpectRefusedEverywhere(Value(value ^ (std::uintptr_t{1} << 40)), "another generation of the slot");
  ExpectRefusedEverywhere(Value(value | (std::uintptr_t{1} << 63)), "the sign bit set");
  EXPECT_FALSE(Signalled(event));  // none of the above reached it
  EXPECT_TRUE(kwplat::CloseHandle(event));
  ExpectRefusedEverywhere(event, "a closed event");
}

TEST(Handles, EachKindIsRefusedByTheCallsOfAnother) {
  HANDLE event = kwplat::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  HANDLE read = nullptr, write = nullptr;
  ASSERT_TRUE(kwplat::CreatePipe(&read, &write, nullptr, 0));
  HKEY key = nullptr;
  ASSERT_EQ(kwplat::RegOpenKeyExW(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, &key), ERROR_SUCCESS);

  char byte = 0;
  DWORD count = 0;
  EXPECT_FALSE(kwplat::ReadFile(event, &byte, 1, &count, nullptr));
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(kwplat::SetEvent(read));
  EXPECT_EQ(kwplat::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(kwplat::WaitForSingleObject(write, 0), WAIT_FAILED);
  EXPECT_EQ(kwplat::RegCloseKey(reinterpret_cast<HKEY>(event)), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(kwplat::FindClose(read));
  EXPECT_FALSE(kwplat::CloseHandle(key));  // a key is closed by RegCloseKey only
  EXPECT_FALSE(kwplat::CloseServiceHandle(reinterpret_cast<SC_HANDLE>(key)));

  // Each still works after the refusals.
  EXPECT_TRUE(kwplat::WriteFile(write, "x", 1, &count, nullptr));
  EXPECT_TRUE(kwplat::ReadFile(read, &byte, 1, &count, nullptr));
  EXPECT_EQ(byte, 'x');
  EXPECT_TRUE(kwplat::SetEvent(event));
  EXPECT_TRUE(Signalled(event));
  EXPECT_EQ(kwplat::RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_TRUE(kwplat::CloseHandle(event));
  EXPECT_TRUE(kwplat::CloseHandle(read));
  EXPECT_TRUE(kwplat::CloseHandle(write));
}

// Manual-reset events opened, set, reset and closed at random, against a model of
// which handles are open and which of them are signalled. Every handle ever given
// out stays in the model, so closed ones are tried again after their slots have
// been reused; the number open swings between none and a thousand.
TEST(Handles, RandomOpensAndClosesAgainstAModel) {
  for (const unsigned seed : {1u, 2u, 3u}) {
    std::mt19937 rng(seed);
    auto pick = [&rng](std::size_t n) { return static_cast<std::size_t>(rng() % n); };
    std::map<HANDLE, bool> open;  // handle -> signalled
    std::vector<HANDLE> ever;
    std::set<HANDLE> given;
    const std::size_t targets[] = {0, 1, 2, 17, 1000};
    std::size_t target = 0;
    for (int step = 0; step < 6000; ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " step " << step);
      if (open.size() == target) target = targets[pick(std::size(targets))];
      const bool grow = open.size() < target ? pick(10) < 8 : pick(10) < 2;
      const int op = ever.empty() || grow ? 0 : 1 + static_cast<int>(pick(3));
      HANDLE h = ever.empty() ? nullptr : ever[pick(ever.size())];
      const bool isOpen = open.count(h) > 0;
      switch (op) {
        case 0: {
          const bool initial = pick(2) == 0;
          h = kwplat::CreateEventW(nullptr, TRUE, initial, nullptr);
          ASSERT_NE(h, nullptr);
          ASSERT_TRUE(given.insert(h).second) << "a handle given out twice";
          open[h] = initial;
          ever.push_back(h);
          break;
        }
        case 1:
          ASSERT_EQ(kwplat::CloseHandle(h) != FALSE, isOpen);
          open.erase(h);
          break;
        case 2:
          ASSERT_EQ(kwplat::SetEvent(h) != FALSE, isOpen);
          if (isOpen) open[h] = true;
          break;
        case 3:
          ASSERT_EQ(kwplat::ResetEvent(h) != FALSE, isOpen);
          if (isOpen) open[h] = false;
          break;
      }
      // A few handles looked at each step, every one now and then.
      const bool all = step % 500 == 499;
      for (std::size_t i = 0; i < (all ? ever.size() : std::min<std::size_t>(3, ever.size())); ++i) {
        HANDLE probe = all ? ever[i] : ever[pick(ever.size())];
        const auto it = open.find(probe);
        const DWORD wait = kwplat::WaitForSingleObject(probe, 0);
        if (it == open.end()) ASSERT_EQ(wait, WAIT_FAILED);
        else ASSERT_EQ(wait, it->second ? WAIT_OBJECT_0 : static_cast<DWORD>(WAIT_TIMEOUT));
      }
    }
    for (const auto& [h, signalled] : open) kwplat::CloseHandle(h);
  }
}

// Threads open, close and try each other's closed handles at once: a stale handle
// never reaches the event that took its slot.
TEST(Handles, StaleHandlesFromOtherThreadsReachNothing) {
  constexpr int kThreads = 4, kRounds = 2000, kRecent = 64;
  std::atomic<HANDLE> recent[kRecent];
  for (auto& slot : recent) slot = nullptr;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 rng(static_cast<unsigned>(t));
      for (int round = 0; round < kRounds; ++round) {
        HANDLE own = kwplat::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        // Handles closed by anyone: each must be refused, and must not set `own`.
        for (int i = 0; i < 4; ++i) {
          HANDLE stale = recent[rng() % kRecent].load();
          if (stale != nullptr && kwplat::SetEvent(stale)) ++wrong;
        }
        if (Signalled(own)) ++wrong;
        if (!kwplat::CloseHandle(own)) ++wrong;
        recent[rng() % kRecent] = own;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
