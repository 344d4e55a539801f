// Test doubles that record what the library shows: message boxes and debugger
// output. Each installs itself for its lifetime and restores what was there.
#pragma once

#include <string>
#include <vector>

#include <kwlib63/platform/debugoutput.h>
#include <kwlib63/platform/messagebox.h>

namespace kwtest {

struct ShownBox {
  HWND owner;
  std::wstring text;
  std::wstring caption;
  UINT type;
};

class MessageBoxRecorder {
 public:
  explicit MessageBoxRecorder(int answer = IDOK);
  ~MessageBoxRecorder();
  MessageBoxRecorder(const MessageBoxRecorder&) = delete;
  MessageBoxRecorder& operator=(const MessageBoxRecorder&) = delete;

  std::vector<ShownBox> boxes;
  int answer;

 private:
  AFX_MSGBOX_HANDLER m_previous;
  void* m_previousContext = nullptr;
};

class DebugOutputRecorder {
 public:
  DebugOutputRecorder();
  ~DebugOutputRecorder();
  DebugOutputRecorder(const DebugOutputRecorder&) = delete;
  DebugOutputRecorder& operator=(const DebugOutputRecorder&) = delete;

  std::wstring All() const;
  std::vector<std::wstring> pieces;

 private:
  AFX_DEBUG_OUTPUT_SINK m_previous;
  void* m_previousContext = nullptr;
};

}  // namespace kwtest

// Lets GoogleTest print the framework's strings in failure messages.
#include <ostream>
#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>
inline void PrintTo(const CString& s, std::ostream* os) { *os << '"' << kwfw::WideToUtf8(s.GetString()) << '"'; }
inline void PrintTo(const CStringA& s, std::ostream* os) { *os << '"' << s.GetString() << '"'; }
