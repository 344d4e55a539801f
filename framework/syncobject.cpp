#include <kwlib63/framework/syncobject.h>

#include <utility>

#include <kwlib63/framework/exception.h>
#include <kwlib63/platform/event.h>

IMPLEMENT_DYNAMIC(CSyncObject, CObject)
IMPLEMENT_DYNAMIC(CCriticalSection, CSyncObject)
IMPLEMENT_DYNAMIC(CEvent, CSyncObject)

namespace {
// The critical section's Lock and Unlock are inline; naming them here makes the
// library hold (and export) one definition for clients that call them out of line.
[[gnu::used]] const auto kExported = std::make_pair(&CCriticalSection::Lock, &CCriticalSection::Unlock);
}  // namespace

BOOL CSyncObject::Lock(DWORD timeout) {
  return m_hObject != nullptr && kwplat::WaitForSingleObject(m_hObject, timeout) == WAIT_OBJECT_0;
}

CEvent::CEvent(BOOL initiallyOwn, BOOL manualReset, LPCTSTR name, void* security) {
  m_hObject = kwplat::CreateEventW(security, manualReset, initiallyOwn, name);
  if (m_hObject == nullptr) AfxThrowResourceException();
}

CEvent::~CEvent() { kwplat::CloseHandle(m_hObject); }

BOOL CEvent::SetEvent() { return kwplat::SetEvent(m_hObject); }
BOOL CEvent::ResetEvent() { return kwplat::ResetEvent(m_hObject); }

CSingleLock::CSingleLock(CSyncObject* object, BOOL initialLock) : m_pObject(object) {
  if (initialLock) Lock();
}

CSingleLock::~CSingleLock() { Unlock(); }

BOOL CSingleLock::Lock(DWORD timeout) {
  m_bAcquired = m_pObject != nullptr && m_pObject->Lock(timeout);
  return m_bAcquired;
}

BOOL CSingleLock::Unlock() {
  if (m_bAcquired) m_bAcquired = !m_pObject->Unlock();
  return !m_bAcquired;
}

CMultiLock::CMultiLock(CSyncObject* objects[], DWORD count, BOOL initialLock)
    : m_ppObjectArray(objects), m_dwCount(count > MAXIMUM_WAIT_OBJECTS ? MAXIMUM_WAIT_OBJECTS : count) {
  m_pHandleArray = new HANDLE[m_dwCount > 0 ? m_dwCount : 1];
  m_bLockedArray = new BOOL[m_dwCount > 0 ? m_dwCount : 1]();
  for (DWORD i = 0; i < m_dwCount; ++i) m_pHandleArray[i] = objects[i] != nullptr ? objects[i]->m_hObject : nullptr;
  if (initialLock) Lock();
}

CMultiLock::~CMultiLock() {
  Unlock();
  delete[] m_pHandleArray;
  delete[] m_bLockedArray;
}

DWORD CMultiLock::Lock(DWORD timeout, BOOL waitForAll, DWORD wakeMask) {
  const DWORD result = wakeMask != 0
                           ? kwplat::MsgWaitForMultipleObjects(m_dwCount, m_pHandleArray, waitForAll, timeout, wakeMask)
                           : kwplat::WaitForMultipleObjects(m_dwCount, m_pHandleArray, waitForAll, timeout);
  if (result < WAIT_OBJECT_0 + m_dwCount) {
    if (waitForAll) {
      for (DWORD i = 0; i < m_dwCount; ++i) m_bLockedArray[i] = TRUE;
    } else {
      m_bLockedArray[result - WAIT_OBJECT_0] = TRUE;
    }
  }
  return result;
}

BOOL CMultiLock::Unlock() {
  for (DWORD i = 0; i < m_dwCount; ++i) {
    if (m_bLockedArray[i]) m_bLockedArray[i] = !m_ppObjectArray[i]->Unlock();
  }
  return TRUE;
}

BOOL CMultiLock::IsLocked(DWORD index) const { return index < m_dwCount && m_bLockedArray[index]; }
