// CFileBuffer: a CFile with one large block between the caller and the disk, for
// files opened either for reading or for writing (not both): a sequential reader
// reads the disk once per block, a sequential writer writes it once per block.
// The logical position is the buffer's; the file's own is not kept in step.
// The block size sets where blocks start and end; the memory behind a block grows
// to what the file needs (its rest when reading, the bytes written so far when
// writing), up to the block size, so small files cost little to open. A writer's
// block is not read from the disk: a write that neither touches nor overlaps the
// stretch already to be written sends that stretch first, so the bytes between
// them on the disk are never written over.
//
// Reads report a short count; writes that cannot be buffered are dropped without
// a word, as the original does, except that a write dropped for a file error is
// reported by the next Flush or Close. Opening errors raise CFileException.
#pragma once

#include <algorithm>
#include <cstring>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/file.h>

class CException;

class KW_API CFileBuffer : public CFile {
  DECLARE_DYNAMIC(CFileBuffer)
 public:
  // Opens the file; raises CFileException on failure. The block is allocated on
  // first use, and only as large as the data in it needs.
  CFileBuffer(LPCTSTR path, UINT openFlags, unsigned long bufferSize);
  ~CFileBuffer() override;

  BOOL Open(LPCTSTR path, UINT openFlags, CFileException* error = nullptr) override;
  UINT Read(void* buffer, UINT count) override;
  void Write(const void* buffer, UINT count) override;
  // Seeks from the logical position; the block is neither written nor dropped.
  unsigned long long Seek(long long offset, UINT from) override;
  unsigned long long GetPosition() const override;
  // In write mode with data not yet written: block start + end of that data (not
  // the larger of that and the file's length); else the file's length.
  unsigned long long GetLength() const override;
  // Flush and Close raise CFileException for a failed write of the block, and for
  // a write that Write dropped since the last report because of a file error.
  void Flush() override;
  void Close() override;

  int IsBuffered() const { return IsBuffered(m_nPosition); }
  int IsBuffered(unsigned long long pos) const;
  // The block's byte at the logical position, or null when it is not buffered;
  // the whole block behind it is allocated, so callers may use it to the block's end.
  unsigned char* getActualBufferPosition();
  // Bytes of memory the block holds now (at most the block size).
  unsigned long AllocatedBlockSize() const { return m_nCapacity; }
  // 0 when the position is buffered, else loadBuffer's result.
  int updateBuffer();
  // Marks `n` bytes from the position as data to write (up to the block's end).
  void updateWriteBlockLimits(unsigned int n);

  // Small transfers wholly inside the block, for callers that make many of them:
  // the block's `n` bytes at the position, which then moves past them (to read
  // them, or to fill them in before any other call on the file), or null (nothing
  // done) when they are not all in the block and the general path must take them.
  const unsigned char* TakeInBlock(unsigned int n) {
    if (m_pBuffer == nullptr || m_nPosition < m_nBlockStart || m_nPosition - m_nBlockStart + n > m_nValid) return nullptr;
    const unsigned char* at = m_pBuffer + (m_nPosition - m_nBlockStart);
    m_nPosition += n;
    return at;
  }
  unsigned char* PlaceInBlock(unsigned int n) {
    if (m_pBuffer == nullptr || !Writing() || m_nPosition < m_nBlockStart ||
        m_nPosition - m_nBlockStart + n > m_nBufferSize) {
      return nullptr;
    }
    const auto o = static_cast<unsigned long>(m_nPosition - m_nBlockStart);
    if (Apart(o, o + n) || (o + n > m_nCapacity && !Reserve(o + n, !m_bStale))) return nullptr;
    MarkDirty(o, o + n);
    m_nPosition += n;
    return m_pBuffer + o;
  }

 protected:
  // Moves the block to `pos`: 0, -1 (read-write mode, or no memory), -7 (a file error,
  // or reading at or past the end).
  int loadBuffer(unsigned long long pos);
  // Writes the changed stretch of the block; -1 without a block, else 0.
  int flushBuffer();
  // Frees the block and forgets the state without writing anything.
  void DeleteContents();
  // Raises the file error that made Write drop data, once.
  void ReportDroppedWrite();
  // Keeps the cause of a file error that makes Write drop data, for the next
  // Flush or Close; deletes the exception.
  void KeepDropped(CException* e);

 private:
  bool Writing() const { return (m_nFlags & modeWrite) != 0; }
  // Makes the first `n` bytes of the block (n <= the block size) memory, zeros
  // where new unless the caller fills them itself; false, with the block as it
  // was, when there is no memory.
  bool Reserve(unsigned long n, bool zero);
  bool Reserve(unsigned long n);  // zeros
  // Whether [from, to) of the block neither touches nor overlaps the stretch to
  // write. A writer's block is not read from the disk, so the bytes between two
  // such stretches are not the file's: they are written separately.
  bool Apart(unsigned long from, unsigned long to) const {
    return m_bDirty && (from > m_nDirtyEnd || to < m_nDirtyStart);
  }
  // Writes the stretch to write (a file error is raised, everything left as it
  // was), and forgets it.
  void WriteDirty();
  void ForgetDirty();
  // Zeros the bytes of a writer's block that lie outside the stretch to write, if
  // they may still hold an earlier block's data: done only before the block is
  // handed to a caller, since a sequential writer fills every byte it marks.
  void ZeroStale();
  // Extends the stretch to write to cover [from, to) of the block.
  void MarkDirty(unsigned long from, unsigned long to) {
    if (m_bDirty) {
      m_nDirtyStart = std::min(m_nDirtyStart, from);
      m_nDirtyEnd = std::max(m_nDirtyEnd, to);
    } else {
      m_nDirtyStart = from;
      m_nDirtyEnd = to;
      m_bDirty = true;
    }
  }

  UINT m_nFlags = 0;
  unsigned char* m_pBuffer = nullptr;
  unsigned long m_nBufferSize;
  unsigned long m_nCapacity = 0;  // bytes of the block m_pBuffer holds
  unsigned long long m_nBlockStart = 0;
  unsigned long long m_nPosition = 0;
  unsigned long m_nValid = 0;  // read mode: bytes of the block that hold file data
  bool m_bDirty = false;       // write mode: [m_nDirtyStart, m_nDirtyEnd) must be written
  bool m_bStale = false;       // write mode: bytes outside that stretch may not be zeros
  unsigned long m_nDirtyStart = 0;
  unsigned long m_nDirtyEnd = 0;
  int m_nDroppedCause = 0;  // write mode: why data were last dropped (0, none, when not)
  LONG m_lDroppedOsError = 0;
};
