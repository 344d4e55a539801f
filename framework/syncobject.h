// The framework's synchronisation objects: a recursive critical section, events
// (manual and auto reset), and the single and multiple locks that wait on them.
// A CMultiLock with a wake mask also wakes when the calling thread's message queue
// has something to pump, which is how a paused worker keeps its window alive.
#pragma once

#include <mutex>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

class KW_API CSyncObject : public CObject {
  DECLARE_DYNAMIC(CSyncObject)
 public:
  CSyncObject() = default;
  CSyncObject(const CSyncObject&) = delete;
  CSyncObject& operator=(const CSyncObject&) = delete;

  // Waits for the object; TRUE when it was obtained within the time-out.
  virtual BOOL Lock(DWORD timeout = INFINITE);
  virtual BOOL Unlock() = 0;
  operator HANDLE() const { return m_hObject; }

  HANDLE m_hObject = nullptr;  // a waitable handle, or null for a critical section
};

class KW_API CCriticalSection : public CSyncObject {
  DECLARE_DYNAMIC(CCriticalSection)
 public:
  // Recursive: the owning thread may lock it again. The time-out is not used.
  // Defined here, so that a caller naming the class (as a lock guard does) pays
  // for the mutex alone; still exported for clients built when they were not.
  KW_API BOOL Lock(DWORD = INFINITE) override {
    m_mutex.lock();
    return TRUE;
  }
  KW_API BOOL Unlock() override {
    m_mutex.unlock();
    return TRUE;
  }

 private:
  std::recursive_mutex m_mutex;
};

class KW_API CEvent : public CSyncObject {
  DECLARE_DYNAMIC(CEvent)
 public:
  // Raises CResourceException when the system refuses the event.
  explicit CEvent(BOOL initiallyOwn = FALSE, BOOL manualReset = FALSE, LPCTSTR name = nullptr,
                  void* security = nullptr);
  ~CEvent() override;

  BOOL SetEvent();
  BOOL ResetEvent();
  BOOL Unlock() override { return TRUE; }
};

class KW_API CSingleLock {
 public:
  explicit CSingleLock(CSyncObject* object, BOOL initialLock = FALSE);
  ~CSingleLock();
  CSingleLock(const CSingleLock&) = delete;
  CSingleLock& operator=(const CSingleLock&) = delete;

  BOOL Lock(DWORD timeout = INFINITE);
  BOOL Unlock();
  BOOL IsLocked() const { return m_bAcquired; }

 private:
  CSyncObject* m_pObject;
  BOOL m_bAcquired = FALSE;
};

// Waits on up to 64 events at once.
class KW_API CMultiLock {
 public:
  CMultiLock(CSyncObject* objects[], DWORD count, BOOL initialLock = FALSE);
  ~CMultiLock();
  CMultiLock(const CMultiLock&) = delete;
  CMultiLock& operator=(const CMultiLock&) = delete;

  // WAIT_OBJECT_0 + i for the object that released the wait, WAIT_OBJECT_0 + count
  // when `wakeMask` is not 0 and the thread's message queue has input,
  // WAIT_TIMEOUT, or WAIT_FAILED. With `waitForAll`, every object must be signalled,
  // and input releases the wait on its own.
  DWORD Lock(DWORD timeout = INFINITE, BOOL waitForAll = TRUE, DWORD wakeMask = 0);
  BOOL Unlock();
  BOOL IsLocked(DWORD index) const;

 private:
  CSyncObject** m_ppObjectArray;
  HANDLE* m_pHandleArray;
  BOOL* m_bLockedArray;
  DWORD m_dwCount;
};
