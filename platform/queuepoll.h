// Internal to platform/: one look at the calling thread's message queue beside
// other descriptors, without dispatching anything, for the waits of event.cpp.
#pragma once

#include <poll.h>

#include <vector>

namespace kwplat::detail {

class QueuePoll {
 public:
  // Takes the thread's context for the look; a message may already be waiting.
  QueuePoll();
  ~QueuePoll();
  QueuePoll(const QueuePoll&) = delete;
  QueuePoll& operator=(const QueuePoll&) = delete;

  bool Ready() const { return m_ready; }
  // Appends the context's descriptors to `fds` and lowers `timeout` (milliseconds,
  // -1 for none) to the context's own.
  void Query(std::vector<pollfd>& fds, int& timeout);
  // After the poll of `fds`: whether a message is now waiting.
  bool Check(const std::vector<pollfd>& fds);

 private:
  void* m_context;
  bool m_acquired = false;
  bool m_ready = false;
  int m_priority = 0;
  std::size_t m_first = 0;
  std::vector<pollfd> m_fds;  // the context's, as GPollFD has the layout of pollfd
};

}  // namespace kwplat::detail
