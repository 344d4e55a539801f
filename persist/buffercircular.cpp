#include <kwlib63/persist/buffercircular.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <kwlib63/framework/exception.h>

IMPLEMENT_DYNAMIC(CBufferCircular, CObject)

CBufferCircular::CBufferCircular(unsigned long nSize) {
  if (nSize != 0 && !Alloc(nSize)) AfxThrowMemoryException();
}

CBufferCircular::~CBufferCircular() { Free(); }

unsigned char* CBufferCircular::allocBuffer(unsigned long nSize) { return static_cast<unsigned char*>(std::malloc(nSize)); }

void CBufferCircular::freeBuffer(unsigned char* p) { std::free(p); }

int CBufferCircular::Alloc(unsigned long nSize) {
  Free();
  m_pBuffer = allocBuffer(nSize);
  // A block of no bytes is not a failure (the process heap hands one out); the
  // buffer then has capacity 0, and writes and reads answer 0.
  if (m_pBuffer == nullptr && nSize != 0) return 0;
  m_nMida = nSize;
  return 1;
}

void CBufferCircular::Free() {
  freeBuffer(m_pBuffer);
  m_pBuffer = nullptr;
  m_nMida = m_nLectura = m_nDades = 0;
}

void CBufferCircular::Reset() { m_nLectura = m_nDades = 0; }

int CBufferCircular::Write(const unsigned char* pData, unsigned long nBytes) {
  if (m_pBuffer == nullptr || m_nMida == 0 || GetMidaLliure() < nBytes) return 0;
  if (nBytes == 0) return 1;
  unsigned long w = m_nLectura + m_nDades;
  if (w >= m_nMida) {
    std::memcpy(m_pBuffer + (w - m_nMida), pData, nBytes);
  } else {
    const unsigned long first = std::min(nBytes, m_nMida - w);
    std::memcpy(m_pBuffer + w, pData, first);
    std::memcpy(m_pBuffer, pData + first, nBytes - first);
  }
  m_nDades += nBytes;
  return 1;
}

unsigned long CBufferCircular::Read(unsigned char* pOut, unsigned long nBytes, int bPartial) {
  if (m_pBuffer == nullptr || m_nMida == 0) return 0;
  if (m_nDades < nBytes) {
    if (!bPartial) return 0;
    nBytes = m_nDades;
  }
  if (nBytes == 0) return 0;
  const unsigned long first = std::min(nBytes, m_nMida - m_nLectura);
  std::memcpy(pOut, m_pBuffer + m_nLectura, first);
  std::memcpy(pOut + first, m_pBuffer, nBytes - first);
  // The read index wraps only when a read passes or ends at the block's end.
  m_nLectura = first < nBytes ? nBytes - first : (m_nLectura + first == m_nMida ? 0 : m_nLectura + first);
  m_nDades -= nBytes;
  return nBytes;
}
