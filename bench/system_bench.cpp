// Child processes through CCmdRedirect against a bare posix_spawn with a pipe read
// directly, in the same run: the time from the start to the first output of a
// child that prints one line, and 100 MB of child output.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include <benchmark/benchmark.h>

#include <kwlib63/system/cmdredirect.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kBytes = 100'000'000;
constexpr char kFlood[] = "yes 0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ | head -c 100000000";

// Counts what arrives and says when the first text, and when `expected` characters,
// have come; the waiting thread is woken only then, so that the figures are the
// object's and not this thread's wake-ups.
class Counter : public CCmdRedirect {
 public:
  ~Counter() override {
    TerminateChildProcess();
    TerminateChildProcess();
  }
  void OnChildStdOutWrite(const wchar_t* text) override {
    std::uint64_t n = 0;
    while (text[n] != L'\0') ++n;
    std::lock_guard guard(m_lock);
    if (m_received == 0) m_first = Clock::now();
    const bool reached = m_received < m_wanted && m_received + n >= m_wanted;
    m_received += n;
    if (reached) m_changed.notify_all();
  }
  Clock::time_point WaitFor(std::uint64_t characters) {
    std::unique_lock guard(m_lock);
    m_wanted = characters;
    m_changed.wait(guard, [&] { return m_received >= characters; });
    return characters == 1 ? m_first : Clock::now();
  }

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  std::uint64_t m_received = 0;
  std::uint64_t m_wanted = 1;
  Clock::time_point m_first;
};

// The peer: posix_spawn with the pipe as standard output, read directly.
pid_t Spawn(const char* const* argv, int& readEnd) {
  int fds[2];
  if (pipe(fds) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, const_cast<char* const*>(argv), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  readEnd = fds[0];
  return pid;
}

void BM_FirstOutput(benchmark::State& state) {
  for (auto _ : state) {
    Counter counter;
    const auto start = Clock::now();
    counter.StartChildProcess(L"/bin/echo hello", FALSE, TRUE, nullptr);
    const auto first = counter.WaitFor(1);
    state.SetIterationTime(std::chrono::duration<double>(first - start).count());
  }
}
// Each object's termination takes most of a second by its rules, outside the timing.
BENCHMARK(BM_FirstOutput)->UseManualTime()->Iterations(10);

void BM_PosixSpawnFirstOutput(benchmark::State& state) {
  const char* const argv[] = {"/bin/echo", "hello", nullptr};
  for (auto _ : state) {
    int readEnd = -1;
    const auto start = Clock::now();
    const pid_t pid = Spawn(argv, readEnd);
    char byte;
    if (read(readEnd, &byte, 1) != 1) std::abort();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    close(readEnd);
    waitpid(pid, nullptr, 0);
    // Each CCmdRedirect start above comes after the last one's stop, which pauses
    // 800 ms by its rules, and a start after a pause costs both sides more than one
    // straight after another (a process waking caches and a core): the same pause here.
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
  }
}
BENCHMARK(BM_PosixSpawnFirstOutput)->UseManualTime()->Iterations(10);

void BM_Output100MB(benchmark::State& state) {
  const std::wstring command = std::wstring(L"/bin/sh -c \"") + std::wstring(kFlood, kFlood + sizeof kFlood - 1) + L"\"";
  for (auto _ : state) {
    Counter counter;
    const auto start = Clock::now();
    counter.StartChildProcess(command.c_str(), FALSE, TRUE, nullptr);
    const auto end = counter.WaitFor(kBytes);
    state.SetIterationTime(std::chrono::duration<double>(end - start).count());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(BM_Output100MB)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_PipeRead100MB(benchmark::State& state) {
  const char* const argv[] = {"/bin/sh", "-c", kFlood, nullptr};
  static char buffer[1 << 16];
  for (auto _ : state) {
    int readEnd = -1;
    const auto start = Clock::now();
    const pid_t pid = Spawn(argv, readEnd);
    std::uint64_t total = 0;
    for (ssize_t n; (n = read(readEnd, buffer, sizeof buffer)) > 0;) total += static_cast<std::uint64_t>(n);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    if (total != kBytes) state.SkipWithError("the output was cut short");
    close(readEnd);
    waitpid(pid, nullptr, 0);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBytes));
}
BENCHMARK(BM_PipeRead100MB)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
