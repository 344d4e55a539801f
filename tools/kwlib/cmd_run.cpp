// kwlib run: runs a command through CCmdRedirect, passing on its output and error
// as they come, optionally with a progress line driven by the percentages it
// prints; the exit status is the command's.
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/process.h>
#include <kwlib63/system/cmdredirect.h>

#include "command.h"
#include "terminalindicator.h"

namespace {

class Runner : public CCmdRedirect {
 public:
  explicit Runner(kwlib::TerminalIndicator* indicator) : m_indicator(indicator) {}
  ~Runner() override {
    TerminateChildProcess();
    TerminateChildProcess();
  }

  void OnChildStdOutWrite(const wchar_t* text) override {
    Write(stdout, text);
    if (m_indicator != nullptr) m_indicator->MostrarEstat(GetCurrentProgress() / 100.0);
  }
  void OnChildStdErrWrite(const wchar_t* text) override { Write(stderr, text); }
  void OnChildTerminate() override {
    std::lock_guard guard(m_lock);
    m_ended = true;
    m_endedChanged.notify_all();
  }
  void WaitForTheEnd() {
    std::unique_lock guard(m_lock);
    m_endedChanged.wait(guard, [this] { return m_ended; });
  }

 private:
  void Write(std::FILE* stream, const wchar_t* text) {
    const std::string bytes = kwfw::WideToUtf8(text);
    std::lock_guard guard(m_writeLock);
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::fflush(stream);
  }

  kwlib::TerminalIndicator* m_indicator;
  std::mutex m_lock, m_writeLock;
  std::condition_variable m_endedChanged;
  bool m_ended = false;
};

int Run(const std::vector<std::string>& args, std::ostream&, std::ostream&) {
  bool progress = false;
  std::string folder;
  std::size_t i = 0;
  for (; i < args.size() && args[i] != "--"; ++i) {
    if (args[i] == "--progress") {
      progress = true;
    } else if (args[i] == "--cwd" && i + 1 < args.size()) {
      folder = args[++i];
    } else {
      throw kwlib::UsageError("unknown option '" + args[i] + "' (the command comes after --)");
    }
  }
  if (i + 1 >= args.size()) throw kwlib::UsageError("give a command after --");
  std::vector<std::wstring> words;
  for (++i; i < args.size(); ++i) words.push_back(kwfw::Utf8ToWide(args[i]));
  const std::wstring line = kwplat::JoinCommandLine(words);

  std::unique_ptr<kwlib::TerminalIndicator> indicator;
  if (progress) {
    indicator = std::make_unique<kwlib::TerminalIndicator>(stderr);
    indicator->SetMissatge(words[0].c_str());
  }
  Runner runner(indicator.get());
  const std::wstring wideFolder = kwfw::Utf8ToWide(folder);
  if (!runner.StartChildProcess(line.c_str(), FALSE, TRUE, folder.empty() ? nullptr : wideFolder.c_str())) {
    return 127;  // the report went to standard output through the callback
  }
  runner.WaitForTheEnd();
  // The child's last output is at most a pipe's worth; stopping drains it first.
  runner.TerminateChildProcess();
  if (indicator) {
    indicator->MostrarEstat(runner.GetCurrentProgress() / 100.0);
    indicator->Finish();
  }
  return static_cast<int>(runner.GetExitCode() & 0xFF);
}

KWLIB_COMMAND(kRun, "run", "run a command with its output redirected through the library",
              "Usage: kwlib run [--progress] [--cwd DIR] -- COMMAND [ARGS...]\n"
              "Runs COMMAND (looked up in PATH, no shell) through CCmdRedirect and passes its\n"
              "output and error on as they come. --progress draws a progress line on standard\n"
              "error from the percentages the command prints (\"42%\"); --cwd runs it in DIR.\n"
              "The exit status is the command's, 127 when it cannot be started.\n",
              Run);

}  // namespace
