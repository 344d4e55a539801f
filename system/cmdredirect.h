// CCmdRedirect: runs a command as a child process with its standard streams on
// pipes and hands everything it writes to the virtual callbacks, one thread per
// stream and one that watches for the child's end; it also follows the highest
// percentage the child prints ("42%") as its progress. Applications derive from
// it and override the callbacks.
//
// Callbacks run on the threads: OnChildStdOutWrite on the output reader (and on
// the caller's thread for the start-failure report), OnChildStdErrWrite on the
// error reader, OnChildTerminate on the watcher, OnChildStarted on the caller's
// thread. A derived class stops the threads in its own destructor, so that none
// calls into it while it is going: TerminateChildProcess twice (the first call only
// kills a running child). The threads never outlive the object, but for one: a
// callback may stop or restart its own object, and the thread running it is then
// let go rather than waited for. It touches nothing of the object once the
// callback returns, but the object must outlive that callback.
//
// The readers end only through TerminateChildProcess: the parent keeps the child's
// ends of the pipes open, so the end of the child is not the end of its streams.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CCmdRedirect {
 public:
  CCmdRedirect();
  // Shares the other object's handles (they are not duplicated); threads are not
  // copied.
  CCmdRedirect(const CCmdRedirect& other);
  CCmdRedirect& operator=(const CCmdRedirect& other);

  // Starts `cmdLine` (split by the Windows argument rules, the program looked up in
  // PATH). Redirected: 1 once the child and the threads run; 0 when it could not be
  // started, reported as "Unable to start ", the command line and a line feed to
  // OnChildStdOutWrite. Not redirected: the child shares this process's streams and
  // current folder, nothing is kept or reported, and the result is 1.
  // A start on an object that still holds an earlier redirected child, or the
  // ends of a failed start, first stops it as TerminateChildProcess does when
  // called twice (a child still running is killed, and its threads are joined),
  // since an object watches one child.
  int StartChildProcess(const wchar_t* cmdLine, int bShowChildWindow, int bRedirect, const wchar_t* workingDir);
  // 1 while the child's exit status reads as still active (259).
  int IsChildRunning() const;
  // The first call on a running child kills it (exit code 1) and lets the watcher
  // see it end; a call on a stopped child stops the threads and closes the pipes.
  void TerminateChildProcess();
  // Writes the bytes of `text` to the child's standard input, as they are.
  void WriteChildStdIn(const char* text);
  int GetCurrentProgress() const { return m_nProgress; }

  virtual void OnChildStarted(const wchar_t* cmdLine);
  virtual void OnChildStdOutWrite(const wchar_t* text);
  virtual void OnChildStdErrWrite(const wchar_t* text);
  virtual void OnChildTerminate();
  // Virtual, so that deleting through the base is defined; declared after the four
  // callbacks so that they keep their slots.
  virtual ~CCmdRedirect();

  // The exit code of the child, once the watcher has seen it end.
  DWORD GetExitCode() const { return m_dwExitCode; }

 protected:
  HANDLE PrepAndLaunchRedirectedChild(const wchar_t* cmdLine, HANDLE hStdOut, HANDLE hStdIn, HANDLE hStdErr,
                                      int bShowChildWindow, const wchar_t* workingDir);
  int StdOutThread(HANDLE hRead);
  int StdErrThread(HANDLE hRead);
  int ProcessThread();
  static int staticStdOutThread(CCmdRedirect* redirect);
  static int staticStdErrThread(CCmdRedirect* redirect);
  static int staticProcessThread(CCmdRedirect* redirect);

  // One flag for the whole class: a redirected start sets it, any termination
  // clears it, so objects running children at the same time share it.
  static std::atomic<int> m_bRunThread;

  std::string m_strProgressText;
  std::atomic<int> m_nProgress{0};
  HANDLE m_hStopEvent = nullptr;
  HANDLE m_hChildStdInRead = nullptr;
  HANDLE m_hChildStdOutWrite = nullptr;
  HANDLE m_hChildStdErrWrite = nullptr;
  HANDLE m_hStdInWrite = nullptr;
  HANDLE m_hStdOutRead = nullptr;
  HANDLE m_hStdErrRead = nullptr;
  std::thread m_hStdOutThread;
  std::thread m_hStdErrThread;
  std::thread m_hProcessThread;
  std::atomic<HANDLE> m_hChildProcess{nullptr};
  std::atomic<DWORD> m_dwExitCode{0};

 private:
  // The read loop shared by both readers; `parseProgress` for standard output.
  int ReadLoop(HANDLE hRead, bool parseProgress);
  void ParseProgress(const char* chunk);
  // Closes a handle member and nulls it.
  static void Close(HANDLE& handle);
  // Waits for a thread to end and forgets it; the calling thread itself, stopping
  // its own object from a callback, is let go instead.
  static void Finish(std::thread& thread);

  // Text split in a multi-byte sequence at a chunk's end, kept for the next chunk.
  std::string m_pendingOut, m_pendingErr;
  // The child of the running start, which the watcher waits for; unlike
  // m_hChildProcess it stays through a kill, and the stop closes it once the
  // watcher is done.
  HANDLE m_hWatchedProcess = nullptr;
  // What the running start shares with its threads (see cmdredirect.cpp); each
  // thread holds it, so that it outlives the start for a thread let go.
  struct Run;
  std::shared_ptr<Run> m_run;
};
