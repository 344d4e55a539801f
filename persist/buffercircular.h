// CBufferCircular: a fixed-capacity FIFO of bytes over one block; the data wraps
// around the block's end. No lock: one thread at a time.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>

class KW_API CBufferCircular : public CObject {
  DECLARE_DYNAMIC(CBufferCircular)
 public:
  CBufferCircular() = default;
  // A block of `nSize` bytes (none for 0); raises CMemoryException when it cannot
  // be allocated.
  explicit CBufferCircular(unsigned long nSize);
  ~CBufferCircular() override;
  CBufferCircular(const CBufferCircular&) = delete;
  CBufferCircular& operator=(const CBufferCircular&) = delete;

  // A new block (the data is lost); 1, or 0 when it cannot be allocated. A block
  // of 0 bytes succeeds: capacity 0, so Write and Read then answer 0.
  int Alloc(unsigned long nSize);
  void Free();
  // Discards the data, keeps the block.
  void Reset();
  // All or nothing: 1, or 0 when the free space is too small (or no block).
  int Write(const unsigned char* pData, unsigned long nBytes);
  // Takes `nBytes`, or with `bPartial` what there is when fewer are queued;
  // returns the count taken (0 without the full count and without `bPartial`).
  unsigned long Read(unsigned char* pOut, unsigned long nBytes, int bPartial);
  unsigned long GetMidaDades() const { return m_nDades; }
  unsigned long GetMidaLliure() const { return m_nMida - m_nDades; }

 protected:
  unsigned char* allocBuffer(unsigned long nSize);
  void freeBuffer(unsigned char* p);

 private:
  unsigned long m_nMida = 0;   // capacity
  unsigned char* m_pBuffer = nullptr;
  unsigned long m_nLectura = 0;  // read index
  unsigned long m_nDades = 0;    // bytes queued
};
