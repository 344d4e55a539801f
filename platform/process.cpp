#include <kwlib63/platform/process.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/fileapi.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/processwait.h>
#include <kwlib63/platform/uniquefd.h>

extern char** environ;

namespace kwplat {
namespace {

// A pipe end. Its descriptor does not block, so that every read and write waits
// in a poll beside the wake descriptor: closing the handle wakes each call in
// progress on another thread, which then fails with ERROR_BROKEN_PIPE. The
// descriptor is closed with the object, when the last such call has left, so it
// can never be reused under a reader.
struct Pipe : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kPipe;
  UniqueFd fd;
  UniqueFd wake;  // an eventfd, readable once the handle is closed
  bool reading;   // the reading end (ReadFile only), else the writing end (WriteFile only)
  pid_t owner;    // the process that made the pipe

  Pipe(UniqueFd pipeFd, UniqueFd wakeFd, bool readEnd)
      : HandleObject(kKind), fd(std::move(pipeFd)), wake(std::move(wakeFd)), reading(readEnd), owner(getpid()) {}
  void Closed() override {
    // A forked child shares the eventfd, but none of the calls it would wake: the
    // fork copied no other thread. Its close must not fail the parent's calls.
    if (getpid() != owner) return;
    const std::uint64_t one = 1;
    (void)!write(wake.Get(), &one, sizeof one);
  }
  // Waits until the pipe can be read (POLLIN) or written (POLLOUT), or its other
  // side has gone; false when the handle was closed meanwhile.
  bool Ready(short events) const {
    pollfd fds[2] = {{fd.Get(), events, 0}, {wake.Get(), POLLIN, 0}};
    while (poll(fds, 2, -1) < 0 && errno == EINTR) {}
    return (fds[1].revents & POLLIN) == 0;
  }
};

// A descriptor of `pipe`'s end for a child's standard stream, close-on-exec, or
// none with errno set. The child gets an open file description of its own, opened again
// through /proc: the flags of a description are shared by every descriptor of it,
// so a copy of ours would hand the child a stream that does not block. Opening an
// anonymous pipe's end this way never waits for the other end, nor fails when it
// has gone.
UniqueFd ChildEnd(const Pipe& pipe) {
  const std::string path = "/proc/self/fd/" + std::to_string(pipe.fd.Get());
  return UniqueFd(open(path.c_str(), (pipe.reading ? O_RDONLY : O_WRONLY) | O_CLOEXEC));
}

struct Process : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kProcess;
  pid_t pid;
  UniqueFd pidfd;  // readable once the child has ended
  std::mutex lock;  // guards ended, exitCode and terminatedWith
  bool ended = false;
  DWORD exitCode = STILL_ACTIVE;
  std::optional<DWORD> terminatedWith;

  Process(pid_t child, UniqueFd childFd)
      : HandleObject(kKind),
        pid(child),
        pidfd(std::move(childFd)) {}
  ~Process() override {
    // A child still running when its handle goes is reaped when it ends, so that it
    // never lingers as a zombie.
    if (!ended) std::thread([child = pid] { while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {} }).detach();
  }

  // Records the end of the child if it has come; true once it has.
  bool Poll() {
    std::lock_guard guard(lock);
    return PollLocked();
  }
  bool PollLocked() {
    if (ended) return true;
    int status = 0;
    const pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == 0) return false;
    ended = true;
    // A child that exited by itself between TerminateProcess's look and its kill
    // keeps its own code: only a kill makes the code the one asked for.
    if (terminatedWith && (r != pid || WIFSIGNALED(status))) exitCode = *terminatedWith;
    else if (r == pid && WIFEXITED(status)) exitCode = static_cast<DWORD>(WEXITSTATUS(status));
    else if (r == pid && WIFSIGNALED(status)) exitCode = 128 + static_cast<DWORD>(WTERMSIG(status));
    else exitCode = 0;  // reaped by someone else: the code is lost
    return true;
  }
};

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

// The program's file: a name with a '/' from the current folder, any other from
// the PATH folders, as an executable regular file.
std::optional<std::string> FindProgram(const std::string& name) {
  auto runnable = [](const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
  };
  if (name.empty()) return std::nullopt;
  if (name.find('/') != std::string::npos) {
    if (!runnable(name)) return std::nullopt;
    if (name[0] == '/') return name;
    char cwd[PATH_MAX];
    return getcwd(cwd, sizeof cwd) != nullptr ? std::optional(std::string(cwd) + "/" + name) : std::nullopt;
  }
  const char* path = std::getenv("PATH");
  std::string folders = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
  for (std::size_t start = 0; start <= folders.size();) {
    std::size_t end = folders.find(':', start);
    if (end == std::string::npos) end = folders.size();
    const std::string folder = end > start ? folders.substr(start, end - start) : ".";
    if (runnable(folder + "/" + name)) return folder + "/" + name;
    start = end + 1;
  }
  return std::nullopt;
}

}  // namespace

namespace detail {

int ProcessPollFd(const HandleObject& process) { return static_cast<const Process&>(process).pidfd.Get(); }

bool ProcessEnded(HandleObject& process) { return static_cast<Process&>(process).Poll(); }

}  // namespace detail

std::vector<std::wstring> SplitCommandLine(const wchar_t* commandLine) {
  std::vector<std::wstring> words;
  if (commandLine == nullptr) return words;
  const wchar_t* p = commandLine;
  while (IsBlank(*p)) ++p;
  if (*p == L'\0') return words;
  // The program name: up to the closing quote, or to the first blank.
  std::wstring program;
  if (*p == L'"') {
    for (++p; *p != L'\0' && *p != L'"'; ++p) program += *p;
    if (*p == L'"') ++p;
  } else {
    for (; *p != L'\0' && !IsBlank(*p); ++p) program += *p;
  }
  words.push_back(program);
  for (;;) {
    while (IsBlank(*p)) ++p;
    if (*p == L'\0') return words;
    std::wstring word;
    bool quoted = false;
    while (*p != L'\0' && (quoted || !IsBlank(*p))) {
      if (*p == L'\\') {
        std::size_t slashes = 0;
        while (*p == L'\\') ++slashes, ++p;
        if (*p != L'"') {
          word.append(slashes, L'\\');
        } else {
          word.append(slashes / 2, L'\\');
          // An odd count escapes the quote; an even one leaves it to act below.
          if (slashes % 2 == 1) word += *p++;
        }
        continue;
      }
      if (*p == L'"') {
        // Inside quotes, a doubled quote is a literal one.
        if (quoted && p[1] == L'"') {
          word += L'"';
          p += 2;
        } else {
          quoted = !quoted;
          ++p;
        }
        continue;
      }
      word += *p++;
    }
    words.push_back(word);
  }
}

std::wstring JoinCommandLine(const std::vector<std::wstring>& words) {
  std::wstring line;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::wstring& word = words[i];
    if (i > 0) line += L' ';
    const bool plain = !word.empty() && word.find_first_of(L" \t\"") == std::wstring::npos;
    if (plain) {
      line += word;
      continue;
    }
    if (i == 0) {  // the program name takes no escapes
      line += L'"' + word + L'"';
      continue;
    }
    line += L'"';
    std::size_t slashes = 0;
    for (wchar_t c : word) {
      if (c == L'\\') {
        ++slashes;
        continue;
      }
      // Backslashes before a quote are doubled, and the quote escaped.
      line.append(c == L'"' ? 2 * slashes + 1 : slashes, L'\\');
      slashes = 0;
      line += c;
    }
    line.append(2 * slashes, L'\\');  // before the closing quote
    line += L'"';
  }
  return line;
}

BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL,
                    DWORD, LPVOID, LPCWSTR currentDirectory, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
  const std::vector<std::wstring> words = SplitCommandLine(commandLine != nullptr ? commandLine : application);
  if (information == nullptr || words.empty()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const std::optional<std::string> program = FindProgram(kwfw::WideToUtf8(application != nullptr ? application : words[0].c_str()));
  if (!program) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  std::string folder;
  if (currentDirectory != nullptr && *currentDirectory != L'\0') {
    folder = kwfw::WideToUtf8(currentDirectory);
    struct stat st {};
    if (stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      SetLastError(ERROR_DIRECTORY);
      return FALSE;
    }
  }
  std::vector<std::string> arguments;
  for (const std::wstring& word : words) arguments.push_back(kwfw::WideToUtf8(word));
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  std::vector<UniqueFd> childEnds;  // ours, closed once the child has its copies
  if (startup != nullptr && (startup->dwFlags & STARTF_USESTDHANDLES) != 0) {
    const HANDLE streams[] = {startup->hStdInput, startup->hStdOutput, startup->hStdError};
    for (int target = 0; target < 3; ++target) {
      const std::shared_ptr<Pipe> pipe = FindHandle<Pipe>(streams[target]);
      if (pipe == nullptr) continue;
      UniqueFd fd = ChildEnd(*pipe);
      if (!fd) {
        SetLastErrorFromErrno();
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        return FALSE;
      }
      posix_spawn_file_actions_adddup2(&actions, fd.Get(), target);
      childEnds.push_back(std::move(fd));
    }
  }
  // Nothing of the parent's but the three standard streams reaches the child.
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  if (!folder.empty()) posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, program->c_str(), &actions, &attributes, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  childEnds.clear();
  if (error != 0) {
    errno = error;
    SetLastErrorFromErrno();
    return FALSE;
  }
  // With no descriptor left the pidfd is -1, and the waits look at the child now
  // and then instead (processwait.h).
  UniqueFd pidfd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  HANDLE process = OpenHandle(std::make_shared<Process>(pid, std::move(pidfd)));
  if (process == nullptr) return FALSE;
  *information = PROCESS_INFORMATION{process, nullptr, static_cast<DWORD>(pid), 0};
  return TRUE;
}

BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode) {
  const std::shared_ptr<Process> p = CheckedHandle<Process>(process);
  if (p == nullptr || exitCode == nullptr) return FALSE;
  p->Poll();
  std::lock_guard guard(p->lock);
  *exitCode = p->exitCode;
  return TRUE;
}

BOOL TerminateProcess(HANDLE process, UINT exitCode) {
  const std::shared_ptr<Process> p = CheckedHandle<Process>(process);
  if (p == nullptr) return FALSE;
  std::lock_guard guard(p->lock);
  // A child that has exited is gone, though no call has looked at its end yet.
  if (p->PollLocked()) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  p->terminatedWith = exitCode;
  // The group first (the child's own children with it); the child alone if it left it.
  if (kill(-p->pid, SIGKILL) != 0) kill(p->pid, SIGKILL);
  return TRUE;
}

BOOL CreatePipe(HANDLE* readEnd, HANDLE* writeEnd, SECURITY_ATTRIBUTES*, DWORD) {
  if (readEnd == nullptr || writeEnd == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  int fds[2];
  UniqueFd wakeRead(eventfd(0, EFD_CLOEXEC)), wakeWrite(eventfd(0, EFD_CLOEXEC));
  if (!wakeRead || !wakeWrite || pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
    SetLastErrorFromErrno();
    return FALSE;
  }
  // The objects own the descriptors from here on, so a failure closes them.
  auto reader = std::make_shared<Pipe>(UniqueFd(fds[0]), std::move(wakeRead), true);
  auto writer = std::make_shared<Pipe>(UniqueFd(fds[1]), std::move(wakeWrite), false);
  HANDLE readHandle = OpenHandle(std::move(reader));
  HANDLE writeHandle = readHandle != nullptr ? OpenHandle(std::move(writer)) : nullptr;
  if (writeHandle == nullptr) {
    if (readHandle != nullptr) CloseHandle(readHandle);
    return FALSE;
  }
  *readEnd = readHandle;
  *writeEnd = writeHandle;
  return TRUE;
}

BOOL ReadFile(HANDLE pipe, LPVOID buffer, DWORD size, LPDWORD read, LPVOID) {
  const std::shared_ptr<Pipe> p = CheckedHandle<Pipe>(pipe);
  if (read != nullptr) *read = 0;
  if (p == nullptr) return FALSE;
  if (!p->reading) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  ssize_t n;
  for (;;) {
    n = ::read(p->fd.Get(), buffer, size);
    if (n >= 0 || (errno != EAGAIN && errno != EINTR)) break;
    if (errno == EAGAIN && !p->Ready(POLLIN)) {
      SetLastError(ERROR_BROKEN_PIPE);  // closed under the read: as if the other end had gone
      return FALSE;
    }
  }
  if (n < 0) {
    SetLastErrorFromErrno();
    return FALSE;
  }
  if (n == 0 && size > 0) {
    SetLastError(ERROR_BROKEN_PIPE);
    return FALSE;
  }
  if (read != nullptr) *read = static_cast<DWORD>(n);
  return TRUE;
}

BOOL WriteFile(HANDLE pipe, LPCVOID buffer, DWORD size, LPDWORD written, LPVOID) {
  const std::shared_ptr<Pipe> p = CheckedHandle<Pipe>(pipe);
  if (written != nullptr) *written = 0;
  if (p == nullptr) return FALSE;
  if (p->reading) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  // A closed reading end must fail the write, not kill the process with SIGPIPE:
  // the signal is held for this thread and a pending one taken away.
  sigset_t pipeSignal, previous;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
  const auto* bytes = static_cast<const char*>(buffer);
  DWORD done = 0;
  int error = 0;
  bool closed = false;
  while (done < size) {
    const ssize_t n = ::write(p->fd.Get(), bytes + done, size - done);
    if (n >= 0) {
      done += static_cast<DWORD>(n);
    } else if (errno == EAGAIN) {
      if (!p->Ready(POLLOUT)) {
        closed = true;
        break;
      }
    } else if (errno != EINTR) {
      error = errno;
      break;
    }
  }
  if (error == EPIPE) {
    const timespec now{0, 0};
    while (sigtimedwait(&pipeSignal, nullptr, &now) == SIGPIPE) {}
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  if (written != nullptr) *written = done;
  if (closed) {
    SetLastError(ERROR_BROKEN_PIPE);
    return FALSE;
  }
  if (error == EPIPE) {
    SetLastError(ERROR_NO_DATA);
    return FALSE;
  }
  if (error != 0) {
    errno = error;
    SetLastErrorFromErrno();
    return FALSE;
  }
  return TRUE;
}

}  // namespace kwplat
