#include <kwlib63/system/cmdredirect.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <latch>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/clock.h>
#include <kwlib63/platform/event.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/process.h>

namespace {

constexpr DWORD kChunk = 256;
// The pipe is emptied this much at a time and its bytes handed on in chunks of
// kChunk: the callbacks see the chunks they always have, without a system call
// for each.
constexpr DWORD kRead = 64 * 1024;

// How much of `bytes` ends with whole UTF-8 sequences: a sequence cut by the end
// of a read is left for the next one.
std::size_t WholeSequences(const std::string& bytes) {
  const std::size_t size = bytes.size();
  for (std::size_t back = 1; back <= 4 && back <= size; ++back) {
    const auto c = static_cast<unsigned char>(bytes[size - back]);
    if ((c & 0xC0) == 0x80) continue;  // a continuation byte: look further back
    const std::size_t length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
    return length > back && length <= 4 ? size - back : size;
  }
  return size;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool Active(HANDLE process) {
  DWORD code = 0;
  return process != nullptr && kwplat::GetExitCodeProcess(process, &code) && code == STILL_ACTIVE;
}

}  // namespace

// The threads wait for `ready` before anything else: a callback that stops its
// object must find the start's three threads stored, and the start stores each
// only once it runs. The stop sets `stopped` once it has closed the pipes, which a
// thread let go by its own callback checks when the callback returns, the object
// being a new start's by then.
struct CCmdRedirect::Run {
  std::latch ready{1};
  std::atomic<bool> stopped{false};
  // The readers still reading, so that a stop lets them take what the child left
  // in its pipes before it closes them.
  std::mutex lock;
  std::condition_variable readerLeft;
  int readers = 2;
};

std::atomic<int> CCmdRedirect::m_bRunThread{0};

CCmdRedirect::CCmdRedirect() { m_bRunThread = 0; }

// A copy starts without a child: sharing the handles would close them twice.
CCmdRedirect::CCmdRedirect(const CCmdRedirect& other)
    : m_strProgressText(other.m_strProgressText), m_nProgress(other.m_nProgress.load()),
      m_dwExitCode(other.m_dwExitCode.load()) {
  m_bRunThread = 0;
}

CCmdRedirect& CCmdRedirect::operator=(const CCmdRedirect& other) {
  if (this != &other) {
    m_strProgressText = other.m_strProgressText;
    m_nProgress = other.m_nProgress.load();
    m_dwExitCode = other.m_dwExitCode.load();
  }
  return *this;
}

CCmdRedirect::~CCmdRedirect() {
  TerminateChildProcess();
  // A child killed by the first call is stopped for good by the second.
  TerminateChildProcess();
}

void CCmdRedirect::OnChildStarted(const wchar_t*) {}
void CCmdRedirect::OnChildStdOutWrite(const wchar_t*) {}
void CCmdRedirect::OnChildStdErrWrite(const wchar_t*) {}
void CCmdRedirect::OnChildTerminate() {}

void CCmdRedirect::Close(HANDLE& handle) {
  if (handle != nullptr) kwplat::CloseHandle(handle);
  handle = nullptr;
}

void CCmdRedirect::Finish(std::thread& thread) {
  if (!thread.joinable()) return;
  if (thread.get_id() == std::this_thread::get_id()) thread.detach();
  else thread.join();
}

int CCmdRedirect::StartChildProcess(const wchar_t* cmdLine, int bShowChildWindow, int bRedirect,
                                    const wchar_t* workingDir) {
  // An earlier child's threads would share this object's state with the new start:
  // they are stopped first.
  if (m_hStopEvent != nullptr || m_hStdInWrite != nullptr || m_hStdOutRead != nullptr || m_hStdErrRead != nullptr) {
    TerminateChildProcess();
    TerminateChildProcess();
  }
  m_strProgressText.clear();
  m_nProgress = 0;
  if (!bRedirect) {
    // The child keeps this process's streams and folder; its handle is let go.
    HANDLE process = PrepAndLaunchRedirectedChild(cmdLine, nullptr, nullptr, nullptr, bShowChildWindow, nullptr);
    if (process != nullptr) kwplat::CloseHandle(process);
    return 1;
  }
  // The caller's ends are separate handles from the child's, as the child must
  // inherit only its own.
  kwplat::CreatePipe(&m_hChildStdInRead, &m_hStdInWrite, nullptr, 0);
  kwplat::CreatePipe(&m_hStdOutRead, &m_hChildStdOutWrite, nullptr, 0);
  kwplat::CreatePipe(&m_hStdErrRead, &m_hChildStdErrWrite, nullptr, 0);
  m_hChildProcess = PrepAndLaunchRedirectedChild(cmdLine, m_hChildStdOutWrite, m_hChildStdInRead,
                                                 m_hChildStdErrWrite, bShowChildWindow, workingDir);
  if (m_hChildProcess == nullptr) {
    OnChildStdOutWrite(L"Unable to start ");
    OnChildStdOutWrite(cmdLine != nullptr ? cmdLine : L"");
    OnChildStdOutWrite(L"\n");
    Close(m_hChildStdInRead);
    Close(m_hChildStdOutWrite);
    Close(m_hChildStdErrWrite);
    return 0;
  }
  m_bRunThread = 1;
  m_hStopEvent = kwplat::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  m_hWatchedProcess = m_hChildProcess;
  m_run = std::make_shared<Run>();
  m_hStdOutThread = std::thread(staticStdOutThread, this);
  m_hStdErrThread = std::thread(staticStdErrThread, this);
  m_hProcessThread = std::thread(staticProcessThread, this);
  m_run->ready.count_down();
  OnChildStarted(cmdLine);
  return 1;
}

HANDLE CCmdRedirect::PrepAndLaunchRedirectedChild(const wchar_t* cmdLine, HANDLE hStdOut, HANDLE hStdIn,
                                                  HANDLE hStdErr, int bShowChildWindow, const wchar_t* workingDir) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = bShowChildWindow ? 5 : 0;
  if (hStdOut != nullptr) {
    startup.dwFlags |= STARTF_USESTDHANDLES;
    startup.hStdInput = hStdIn;
    startup.hStdOutput = hStdOut;
    startup.hStdError = hStdErr;
  }
  SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
  std::wstring line = cmdLine != nullptr ? cmdLine : L"";
  PROCESS_INFORMATION information{};
  if (!kwplat::CreateProcessW(nullptr, line.data(), &attributes, nullptr, TRUE, CREATE_NEW_CONSOLE, nullptr,
                              workingDir, &startup, &information)) {
    return nullptr;
  }
  return information.hProcess;
}

int CCmdRedirect::IsChildRunning() const { return Active(m_hChildProcess) ? 1 : 0; }

void CCmdRedirect::WriteChildStdIn(const char* text) {
  if (m_hStdInWrite == nullptr || text == nullptr || *text == '\0') return;
  DWORD written = 0;
  kwplat::WriteFile(m_hStdInWrite, text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
}

void CCmdRedirect::TerminateChildProcess() {
  // A running child is killed and the watcher left to see it end; the next call
  // does the rest.
  if (HANDLE process = m_hChildProcess; Active(process)) {
    kwplat::TerminateProcess(process, 1);
    // The watcher waits on m_hWatchedProcess, closed once it has finished, below.
    m_hChildProcess = nullptr;
    return;
  }
  // The pauses give the threads and the child their time, as the class always has;
  // an object that never started a redirected child has nothing to wait for.
  const bool started = m_hStopEvent != nullptr;
  const auto pause = [started](int milliseconds) {
    if (started) kwplat::Sleep(static_cast<DWORD>(milliseconds));
  };
  m_bRunThread = 0;
  if (started) kwplat::SetEvent(m_hStopEvent);
  pause(500);
  Finish(m_hProcessThread);
  Close(m_hChildStdInRead);
  Close(m_hChildStdOutWrite);
  Close(m_hChildStdErrWrite);
  pause(100);
  // With the child's ends closed, the readers reach the end of what the child
  // wrote and leave; a pipe a grandchild still holds is closed under its reader
  // after a second. A reader that is stopping its own object is not waited for.
  const std::thread::id self = std::this_thread::get_id();
  if (m_run != nullptr && self != m_hStdOutThread.get_id() && self != m_hStdErrThread.get_id()) {
    std::unique_lock guard(m_run->lock);
    m_run->readerLeft.wait_for(guard, std::chrono::seconds(1), [this] { return m_run->readers == 0; });
  }
  Close(m_hStdInWrite);
  Close(m_hStdOutRead);
  Close(m_hStdErrRead);
  if (m_run != nullptr) m_run->stopped = true;
  pause(100);
  Finish(m_hStdOutThread);
  Finish(m_hStdErrThread);
  pause(100);
  m_hChildProcess = nullptr;
  if (Active(m_hWatchedProcess)) {
    kwplat::TerminateProcess(m_hWatchedProcess, 1);
    kwplat::WaitForSingleObject(m_hWatchedProcess, 1000);
  }
  Close(m_hWatchedProcess);
  Close(m_hStopEvent);
  m_run = nullptr;
}

int CCmdRedirect::staticStdOutThread(CCmdRedirect* redirect) { return redirect->StdOutThread(redirect->m_hStdOutRead); }
int CCmdRedirect::staticStdErrThread(CCmdRedirect* redirect) { return redirect->StdErrThread(redirect->m_hStdErrRead); }
int CCmdRedirect::staticProcessThread(CCmdRedirect* redirect) { return redirect->ProcessThread(); }

int CCmdRedirect::StdOutThread(HANDLE hRead) { return ReadLoop(hRead, true); }
int CCmdRedirect::StdErrThread(HANDLE hRead) { return ReadLoop(hRead, false); }

int CCmdRedirect::ReadLoop(HANDLE hRead, bool parseProgress) {
  const std::shared_ptr<Run> run = m_run;
  // Told on every way out, after the last use of the object's state.
  struct Leave {
    Run& run;
    ~Leave() {
      std::lock_guard guard(run.lock);
      --run.readers;
      run.readerLeft.notify_all();
    }
  } leave{*run};
  std::string& pending = parseProgress ? m_pendingOut : m_pendingErr;
  // On the stack, so that nothing is allocated before the first read.
  char block[kRead];
  char chunk[kChunk + 1];
  for (;;) {
    DWORD read = 0;
    if (!kwplat::ReadFile(hRead, block, kRead, &read, nullptr) || read == 0) {
      if (kwplat::GetLastError() == ERROR_BROKEN_PIPE || kwplat::GetLastError() == ERROR_INVALID_HANDLE) return 0;
      if (m_bRunThread) continue;
      return 0;
    }
    // The reading starts at once; only the callbacks, which may stop the object,
    // wait until the start has stored its threads.
    run->ready.wait();
    for (DWORD at = 0; at < read; at += kChunk) {
      const DWORD n = std::min(kChunk, read - at);
      std::memcpy(chunk, block + at, n);
      chunk[n] = '\0';
      pending.append(chunk, n);
      const std::size_t whole = WholeSequences(pending);
      const std::wstring text = kwfw::Utf8ToWide(std::string_view(pending).substr(0, whole));
      pending.erase(0, whole);
      if (!text.empty()) {
        if (parseProgress) OnChildStdOutWrite(text.c_str());
        else OnChildStdErrWrite(text.c_str());
        // Stopped meanwhile, perhaps by the callback itself, which may have started
        // the object again: nothing of it is this thread's any more.
        if (run->stopped) return 0;
      }
      if (parseProgress) ParseProgress(chunk);
    }
  }
}

void CCmdRedirect::ParseProgress(const char* chunk) {
  const std::size_t before = m_strProgressText.size();
  m_strProgressText += chunk;
  // Only a sign in the new text can change the answer: the digits before an older
  // sign are what they were. The search is therefore linear in the output.
  const std::size_t found = std::string_view(m_strProgressText).substr(before).rfind('%');
  if (found != std::string_view::npos && before + found > 0) {
    const std::size_t sign = before + found;
    std::size_t start = sign;
    while (start > 0 && IsDigit(m_strProgressText[start - 1])) --start;
    if (start < sign) {
      // atoi's value, without its undefined overflow for an endless run of digits.
      const long long value = std::strtoll(m_strProgressText.c_str() + start, nullptr, 10);
      const int percentage = value > INT_MAX ? INT_MAX : static_cast<int>(value);
      if (percentage > m_nProgress) {
        m_nProgress = percentage;
        m_strProgressText.clear();
        return;
      }
    }
  }
  // What can still stand before a later sign is the run of digits at the end, and
  // of that only its value: the text keeps that much, so that a child that never
  // prints a higher percentage costs no memory.
  std::size_t run = m_strProgressText.size();
  while (run > 0 && IsDigit(m_strProgressText[run - 1])) --run;
  m_strProgressText.erase(0, run);
  const std::size_t zeros = std::min(m_strProgressText.find_first_not_of('0'), m_strProgressText.size());
  m_strProgressText.erase(0, zeros == m_strProgressText.size() && zeros > 0 ? zeros - 1 : zeros);
  if (m_strProgressText.size() > 10) m_strProgressText = "2147483648";  // above the cap whatever follows
}

int CCmdRedirect::ProcessThread() {
  m_run->ready.wait();
  // The child this start made, even when a callback has killed it already.
  const HANDLE handles[] = {m_hStopEvent, m_hWatchedProcess};
  while (m_bRunThread) {
    // The stop event does not end the watch by itself: termination clears the flag first.
    const DWORD waited = kwplat::WaitForMultipleObjects(2, handles, FALSE, 1);
    if (waited == WAIT_OBJECT_0 + 1) {
      m_bRunThread = 0;
      break;
    }
    // A wait that cannot be made fails at once, every time: the watch ends there.
    if (waited == WAIT_FAILED) break;
  }
  DWORD code = 0;
  // Through the handle as it is now: after a kill the member is null and the code stays.
  if (HANDLE process = m_hChildProcess; process != nullptr && kwplat::GetExitCodeProcess(process, &code)) {
    m_dwExitCode = code;
  }
  OnChildTerminate();
  return 0;
}
