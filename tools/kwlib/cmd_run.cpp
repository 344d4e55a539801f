// kwlib run: runs a command through CCmdRedirect, passing on its output and error
// as they come, optionally with a progress line driven by the percentages it
// prints; the exit status is the command's.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/process.h>
#include <kwlib63/system/cmdredirect.h>

#include "command.h"
#include "dispatch.h"
#include "longwork.h"

namespace {

class Runner : public CCmdRedirect {
 public:
  explicit Runner(TIndicadorEstat* indicator) : m_indicator(indicator) {}
  ~Runner() override {
    TerminateChildProcess();
    TerminateChildProcess();
  }

  // Output and error come on two threads: each chunk goes out whole before the
  // other's, and never in the middle of a redraw of the bar.
  void OnChildStdOutWrite(const wchar_t* text) override {
    std::lock_guard guard(m_writeLock);
    Write(stdout, text);
  }
  void OnChildStdErrWrite(const wchar_t* text) override {
    std::lock_guard guard(m_writeLock);
    Write(stderr, text);
  }
  void OnChildTerminate() override {
    std::lock_guard guard(m_lock);
    m_ended = true;
    m_endedChanged.notify_all();
  }
  // Waits for the child's end. With a bar, the percentage is shown every tenth
  // of a second meanwhile: the library reads it from a chunk only after handing
  // the chunk out, so the output's callback would show the one before.
  void WaitForTheEnd() {
    std::unique_lock guard(m_lock);
    while (!m_endedChanged.wait_for(guard, std::chrono::milliseconds(100), [this] { return m_ended; })) {
      guard.unlock();
      ShowProgress();
      guard.lock();
    }
  }
  void ShowProgress() {
    std::lock_guard guard(m_writeLock);
    if (m_indicator != nullptr) m_indicator->MostrarEstat(GetCurrentProgress() / 100.0);
  }

 private:
  void Write(std::FILE* stream, const wchar_t* text) {
    const std::string bytes = kwfw::WideToUtf8(text);
    kwlib::BeforeOutput();
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::fflush(stream);
    kwlib::AfterOutput(stream, bytes);
  }

  TIndicadorEstat* m_indicator;  // null without a bar
  std::mutex m_lock;
  std::mutex m_writeLock;  // guards the two streams and the bar between the reading threads
  std::condition_variable m_endedChanged;
  bool m_ended = false;
};

// COMMAND [ARGS...]
int Start(const std::vector<std::string>& command, const kwlib::Call& call) {
  const std::string folder = call.arguments.Value("--cwd").value_or("");
  std::vector<std::wstring> words;
  for (const std::string& word : command) words.push_back(kwfw::Utf8ToWide(word));
  const std::wstring line = kwplat::JoinCommandLine(words);

  TIndicadorEstat* indicator = kwlib::Progress();
  if (indicator != nullptr) indicator->SetMissatge(words[0].c_str());
  Runner runner(indicator);
  const std::wstring wideFolder = kwfw::Utf8ToWide(folder);
  if (!runner.StartChildProcess(line.c_str(), FALSE, TRUE, folder.empty() ? nullptr : wideFolder.c_str())) {
    return 127;  // the report went to standard output through the callback
  }
  runner.WaitForTheEnd();
  // The child's last output is at most a pipe's worth; stopping drains it first.
  runner.TerminateChildProcess();
  runner.ShowProgress();
  return static_cast<int>(runner.GetExitCode() & 0xFF);
}

const kwlib::SubCommand<> kTable[] = {
    {{"", 1, kwlib::kNoLimit, "kwlib run [--progress] [--cwd DIR] -- COMMAND [ARGS...]"}, &Start}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  // The options come before "--", the command after it: a word before it is no
  // command, unlike in SplitFlags().
  kwlib::Arguments arguments;
  std::size_t i = 0;
  for (; i < args.size() && args[i] != "--"; ++i) {
    const std::string& option = args[i];
    if (option == "--cwd") {
      arguments.values.emplace_back(option, kwlib::ValueOf(args, i));
    } else {
      throw kwlib::UsageError("unknown option '" + option + "' (the command comes after --)");
    }
  }
  arguments.words.assign(args.begin() + static_cast<std::ptrdiff_t>(std::min(i + 1, args.size())), args.end());
  return kwlib::Dispatch(kTable, arguments.words, kwlib::Call{arguments, out, err});
}

KWLIB_COMMAND(kRun, "run", "run a command with its output redirected through the library", kwlib::SyntaxOf(kTable),
              "Runs COMMAND (looked up in PATH, no shell) through CCmdRedirect and passes its\n"
              "output and error on as they come. On a terminal, or with --progress, a progress\n"
              "line on standard error follows the percentages the command prints (\"42%\");\n"
              "--cwd runs it in DIR.\n"
              "The exit status is the command's, 127 when it cannot be started.\n",
              Run);

}  // namespace
