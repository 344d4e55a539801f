// Disk faults for tests: for the life of a FaultPlan the library's system-call
// table (platform/syscalls.h) counts every call by kind and makes one chosen call
// fail; the real table is put back when the plan goes. One thread only.
#pragma once

#include <array>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace kwtest {

enum class Call { kOpen, kMkstemp, kRead, kWrite, kLseek, kFtruncate, kFallocate, kFsync, kClose, kRename, kUnlink, kMmap };
inline constexpr std::size_t kCallKinds = 12;
using CallCounts = std::array<int, kCallKinds>;

// The `position`-th call (from 1) of `call` fails with `error`. An error of 0 is a
// short write: half of the bytes asked for (at least one) are written.
struct Fault {
  Call call;
  int position;
  int error;
};

// "write #3 ENOSPC", for failure messages.
std::string Describe(const Fault& fault);
// "write 2, fsync 2, ..." for the kinds called.
std::string Describe(const CallCounts& counts);

class FaultPlan {
 public:
  // Counts the calls and fails none.
  FaultPlan();
  explicit FaultPlan(const Fault& fault);
  ~FaultPlan();
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  const CallCounts& Counts() const { return m_counts; }
  bool Fired() const { return m_fired; }
  // Calls of `call` made before the fault fired (all of them while it has not).
  int Before(Call call) const { return (m_fired ? m_before : m_counts)[static_cast<std::size_t>(call)]; }

  // The error to give the call being made (0 for none, -1 for a short write); counts it.
  int Next(Call call);

 private:
  std::optional<Fault> m_fault;
  bool m_fired = false;
  CallCounts m_counts{};
  CallCounts m_before{};
};

// ENOSPC and EIO at every counted call, EINTR at every call a signal can
// interrupt, and a short write at every write.
std::vector<Fault> EveryFault(const CallCounts& counts);

// A transient fault (EINTR, a short write) is retried and must not fail anything.
inline bool Transient(const Fault& fault) { return fault.error == EINTR || fault.error == 0; }

// The contract of a file replaced whole (platform/atomicfile.h) under `fault`:
// EINTR and short writes are retried and succeed; a failed write, read, flush or
// rename is reported (`ok` false); success leaves `after` in `path`, failure leaves
// `before` (or `after` when only the folder's flush after the rename failed); no
// temporary file is left behind.
void ExpectReplaced(const Fault& fault, bool ok, const FaultPlan& plan, const std::string& path,
                    const std::string& before, const std::string& after);

// Runs `operation` once under a counting plan, then once under each fault of
// EveryFault, calling `reset` before every run and `check` after each faulty one
// (the plan still installed, so that `check` may ask it; `check` reads the disk
// with the real calls regardless). Returns the counts of the fault-free run.
template <typename Result>
CallCounts RunEveryFault(const std::function<void()>& reset, const std::function<Result()>& operation,
                         const std::function<void(const Fault&, const Result&, const FaultPlan&)>& check) {
  CallCounts counts{};
  reset();
  {
    FaultPlan counting;
    operation();
    counts = counting.Counts();
  }
  for (const Fault& fault : EveryFault(counts)) {
    reset();
    SCOPED_TRACE(Describe(fault));
    FaultPlan plan(fault);
    const Result result = operation();
    EXPECT_TRUE(plan.Fired()) << "the call was not reached";
    check(fault, result, plan);
  }
  return counts;
}

}  // namespace kwtest
