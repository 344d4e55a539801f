#include "support/recorders.h"

namespace kwtest {

MessageBoxRecorder::MessageBoxRecorder(int answer_) : answer(answer_) {
  m_previous = AfxSetMessageBoxHandler(
      [](HWND owner, const wchar_t* text, const wchar_t* caption, UINT type, void* context) {
        auto* self = static_cast<MessageBoxRecorder*>(context);
        self->boxes.push_back({owner, text, caption, type});
        return self->answer;
      },
      this, &m_previousContext);
}

MessageBoxRecorder::~MessageBoxRecorder() { AfxSetMessageBoxHandler(m_previous, m_previousContext); }

DebugOutputRecorder::DebugOutputRecorder() {
  m_previous = AfxSetDebugOutputSink(
      [](const wchar_t* text, void* context) { static_cast<DebugOutputRecorder*>(context)->pieces.push_back(text); },
      this, &m_previousContext);
}

DebugOutputRecorder::~DebugOutputRecorder() { AfxSetDebugOutputSink(m_previous, m_previousContext); }

std::wstring DebugOutputRecorder::All() const {
  std::wstring all;
  for (const std::wstring& p : pieces) all += p;
  return all;
}

}  // namespace kwtest
