// Message queues on GLib main contexts. The quit request is the queue's own flag,
// not a GLib source: as on Windows, it is taken only once nothing else is ready,
// so the sources that were ready before it are still dispatched.
#include <kwlib63/platform/messagequeue.h>

#include <glib.h>
#include <unistd.h>

#include <memory>

#include <kwlib63/platform/queuepoll.h>

namespace kwplat {
namespace {

struct ThreadQueue {
  GMainContext* context;
  bool quit = false;
  int exitCode = 0;
  explicit ThreadQueue(GMainContext* c) : context(c) {}
  ~ThreadQueue() { g_main_context_unref(context); }
  ThreadQueue(const ThreadQueue&) = delete;
  ThreadQueue& operator=(const ThreadQueue&) = delete;
};

thread_local std::unique_ptr<ThreadQueue> t_queue;

ThreadQueue& Queue() {
  if (!t_queue) {
    GMainContext* context = g_main_context_ref_thread_default();
    // The default context belongs to the main thread; another thread without a
    // context of its own gets a private one, as each thread has its own queue.
    if (context == g_main_context_default() && gettid() != getpid()) {
      g_main_context_unref(context);
      context = g_main_context_new();
    }
    t_queue = std::make_unique<ThreadQueue>(context);
  }
  return *t_queue;
}

}  // namespace

void PostQuitMessage(int exitCode) {
  ThreadQueue& q = Queue();
  q.quit = true;
  q.exitCode = exitCode;
}

BOOL HasPendingMessage() {
  ThreadQueue& q = Queue();
  return q.quit || g_main_context_pending(q.context);
}

BOOL PumpOneMessage(int* exitCode) {
  ThreadQueue& q = Queue();
  if (g_main_context_pending(q.context)) {
    g_main_context_iteration(q.context, FALSE);
    return TRUE;
  }
  if (q.quit) {
    q.quit = false;
    if (exitCode != nullptr) *exitCode = q.exitCode;
    return FALSE;
  }
  g_main_context_iteration(q.context, TRUE);
  return TRUE;
}

void* GetThreadMainContext() { return Queue().context; }

namespace detail {

QueuePoll::QueuePoll() : m_context(Queue().context) {
  if (Queue().quit) {
    m_ready = true;
    return;
  }
  auto* context = static_cast<GMainContext*>(m_context);
  m_acquired = g_main_context_acquire(context);
  if (m_acquired) m_ready = g_main_context_prepare(context, &m_priority);
}

QueuePoll::~QueuePoll() {
  if (m_acquired) g_main_context_release(static_cast<GMainContext*>(m_context));
}

void QueuePoll::Query(std::vector<pollfd>& fds, int& timeout) {
  if (!m_acquired || m_ready) return;
  static_assert(sizeof(GPollFD) == sizeof(pollfd));
  auto* context = static_cast<GMainContext*>(m_context);
  m_fds.resize(8);
  int contextTimeout = -1;
  for (;;) {
    const int n = g_main_context_query(context, m_priority, &contextTimeout, reinterpret_cast<GPollFD*>(m_fds.data()),
                                       static_cast<int>(m_fds.size()));
    if (n <= static_cast<int>(m_fds.size())) {
      m_fds.resize(static_cast<std::size_t>(n));
      break;
    }
    m_fds.resize(static_cast<std::size_t>(n));
  }
  m_first = fds.size();
  fds.insert(fds.end(), m_fds.begin(), m_fds.end());
  if (contextTimeout >= 0 && (timeout < 0 || contextTimeout < timeout)) timeout = contextTimeout;
}

bool QueuePoll::Check(const std::vector<pollfd>& fds) {
  if (!m_acquired || m_ready) return m_ready;
  for (std::size_t i = 0; i < m_fds.size(); ++i) m_fds[i].revents = fds[m_first + i].revents;
  return g_main_context_check(static_cast<GMainContext*>(m_context), m_priority,
                              reinterpret_cast<GPollFD*>(m_fds.data()), static_cast<int>(m_fds.size()));
}

}  // namespace detail
}  // namespace kwplat
