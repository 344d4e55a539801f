#include <kwlib63/persist/filebuffer.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <kwlib63/framework/exception.h>
#include <kwlib63/platform/memory.h>

IMPLEMENT_DYNAMIC(CFileBuffer, CFile)

namespace {
// The first memory a block gets; it doubles from there as the data needs.
constexpr unsigned long kFirstBlockBytes = 4096;
// A block starts on a cache line. A large malloc puts its memory 16 bytes into a
// page, and some processors copy a file's pages into such a block (read()) at a
// seventh of their speed.
constexpr std::size_t kBlockAlignment = 64;
// A block of megabytes starts on a large page and asks for large pages: a new
// block otherwise costs a page fault per 4 KiB, over two thousand for a full
// one, on every file opened.
constexpr std::size_t kLargePage = std::size_t{2} << 20;

// Null when there is no memory, a size beyond any memory included.
unsigned char* NewBlock(std::size_t bytes) {
  const std::size_t alignment = bytes >= kLargePage ? kLargePage : kBlockAlignment;
  if (bytes > SIZE_MAX - (alignment - 1)) return nullptr;
  bytes = (bytes + alignment - 1) / alignment * alignment;
  auto* block = static_cast<unsigned char*>(std::aligned_alloc(alignment, bytes));
  if (alignment == kLargePage) kwplat::AdviseLargePages(block, bytes);
  return block;
}
}  // namespace

CFileBuffer::CFileBuffer(LPCTSTR path, UINT openFlags, unsigned long bufferSize) : m_nBufferSize(bufferSize) {
  CFileException error;
  if (!Open(path, openFlags, &error)) AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
}

CFileBuffer::~CFileBuffer() {
  // As Close, without closing explicitly: the file object closes itself. A write
  // error here has nowhere to go.
  try {
    WriteDirty();  // the block is dropped next: nothing of it needs zeroing
  } catch (CException* e) {
    e->Delete();
  }
  DeleteContents();
}

BOOL CFileBuffer::Open(LPCTSTR path, UINT openFlags, CFileException* error) {
  m_nFlags = openFlags;
  m_nDroppedCause = CFileException::none;
  if (!CFile::Open(path, openFlags, error)) return FALSE;
  m_nPosition = 0;
  return TRUE;
}

int CFileBuffer::IsBuffered(unsigned long long pos) const {
  if (m_pBuffer == nullptr || pos < m_nBlockStart) return 0;
  const unsigned long long limit = Writing() ? m_nBufferSize : m_nValid;
  return pos - m_nBlockStart < limit ? 1 : 0;
}

unsigned char* CFileBuffer::getActualBufferPosition() {
  if (!IsBuffered() || !Reserve(m_nBufferSize, !m_bStale)) return nullptr;
  ZeroStale();
  return m_pBuffer + (m_nPosition - m_nBlockStart);
}

bool CFileBuffer::Reserve(unsigned long n, bool zero) {
  if (n <= m_nCapacity && m_pBuffer != nullptr) return true;
  // Doubling keeps a writer's many small growths linear in the bytes written.
  unsigned long want = std::max({n, kFirstBlockBytes, m_nCapacity < m_nBufferSize / 2 ? m_nCapacity * 2 : m_nBufferSize});
  want = std::min(want, m_nBufferSize);
  unsigned char* grown = NewBlock(want);
  if (grown == nullptr) return false;
  if (m_pBuffer != nullptr) std::memcpy(grown, m_pBuffer, m_nCapacity);
  std::free(m_pBuffer);
  if (zero) std::memset(grown + m_nCapacity, 0, want - m_nCapacity);
  m_pBuffer = grown;
  m_nCapacity = want;
  return true;
}

bool CFileBuffer::Reserve(unsigned long n) { return Reserve(n, true); }

int CFileBuffer::updateBuffer() { return IsBuffered() ? 0 : loadBuffer(m_nPosition); }

void CFileBuffer::updateWriteBlockLimits(unsigned int n) {
  if (!IsBuffered()) return;
  const auto o = static_cast<unsigned long>(m_nPosition - m_nBlockStart);
  const auto to = static_cast<unsigned long>(std::min<unsigned long long>(static_cast<unsigned long long>(o) + n, m_nBufferSize));
  if (!Reserve(to, !m_bStale)) return;  // never mark bytes the block has no memory for
  ZeroStale();
  MarkDirty(o, to);
}

void CFileBuffer::ZeroStale() {
  if (!m_bStale) return;
  if (m_bDirty) {
    std::memset(m_pBuffer, 0, m_nDirtyStart);
    std::memset(m_pBuffer + m_nDirtyEnd, 0, m_nCapacity - m_nDirtyEnd);
  } else {
    std::memset(m_pBuffer, 0, m_nCapacity);
  }
  m_bStale = false;
}

void CFileBuffer::WriteDirty() {
  if (m_pBuffer == nullptr || !Writing() || !m_bDirty || m_nDirtyEnd <= m_nDirtyStart) return;
  CFile::Seek(static_cast<long long>(m_nBlockStart + m_nDirtyStart), begin);
  CFile::Write(m_pBuffer + m_nDirtyStart, m_nDirtyEnd - m_nDirtyStart);
  CFile::Seek(static_cast<long long>(m_nPosition), begin);
}

void CFileBuffer::ForgetDirty() {
  m_bDirty = false;
  m_nDirtyStart = m_nDirtyEnd = 0;
}

int CFileBuffer::flushBuffer() {
  if (m_pBuffer == nullptr) return -1;
  WriteDirty();
  // The bytes written stay in the block; the ones around them must be zeros.
  ZeroStale();
  ForgetDirty();
  return 0;
}

void CFileBuffer::DeleteContents() {
  std::free(m_pBuffer);
  m_pBuffer = nullptr;
  m_nCapacity = 0;
  m_nBlockStart = 0;
  m_nValid = 0;
  m_bDirty = false;
  m_bStale = false;
  m_nDirtyStart = m_nDirtyEnd = 0;
}

int CFileBuffer::loadBuffer(unsigned long long pos) {
  if ((m_nFlags & 3) == modeReadWrite || m_nBufferSize == 0) return -1;
  try {
    if (m_pBuffer != nullptr) {
      // The block is filled or marked stale again next: nothing of it to zero.
      WriteDirty();
      ForgetDirty();
    } else if (!Reserve(std::min(m_nBufferSize, kFirstBlockBytes))) {
      return -1;
    }
    const unsigned long long length = CFile::GetLength();
    if (Writing()) {
      // Past the end the block starts at the end, so that the gap is written as
      // zeros; a position further than one block past the end starts its own block.
      m_nBlockStart = pos >= length && pos - length < m_nBufferSize ? length : pos;
      if (pos >= length) CFile::Seek(0, end);
      m_nValid = 0;
      m_bStale = true;  // zeroed when a caller may see it (ZeroStale)
    } else {
      if (pos >= length) return -7;
      // The block needs no more memory than the file has left from `pos`; the read
      // fills it and the zeros go after what it brought.
      if (!Reserve(static_cast<unsigned long>(std::min<unsigned long long>(m_nBufferSize, length - pos)), false)) return -1;
      m_nBlockStart = pos;
      m_nValid = 0;  // until the read succeeds
      CFile::Seek(static_cast<long long>(pos), begin);
      m_nValid = CFile::Read(m_pBuffer, m_nCapacity);
      std::memset(m_pBuffer + m_nValid, 0, m_nCapacity - m_nValid);
      CFile::Seek(static_cast<long long>(pos), begin);
    }
    return 0;
  } catch (CException* e) {
    KeepDropped(e);
    return -7;
  }
}

void CFileBuffer::KeepDropped(CException* e) {
  // Write drops its data on such an error without a word; the cause is kept so
  // that the next Flush or Close tells the caller.
  if (const auto* file = dynamic_cast<CFileException*>(e); file != nullptr && Writing()) {
    m_nDroppedCause = file->m_cause;
    m_lDroppedOsError = file->m_lOsError;
  }
  e->Delete();
}

void CFileBuffer::ReportDroppedWrite() {
  if (m_nDroppedCause == CFileException::none) return;
  const int cause = m_nDroppedCause;
  m_nDroppedCause = CFileException::none;
  AfxThrowFileException(cause, m_lDroppedOsError, m_strFileName);
}

UINT CFileBuffer::Read(void* buffer, UINT count) {
  UINT done = 0;
  while (done < count) {
    if (!IsBuffered() && loadBuffer(m_nPosition) != 0) break;
    const auto offset = static_cast<unsigned long>(m_nPosition - m_nBlockStart);
    if (offset >= m_nValid) break;  // the block holds no file data here
    const UINT n = std::min<UINT>(count - done, m_nValid - offset);
    std::memcpy(static_cast<unsigned char*>(buffer) + done, m_pBuffer + offset, n);
    done += n;
    m_nPosition += n;
  }
  return done;
}

void CFileBuffer::Write(const void* buffer, UINT count) {
  UINT done = 0;
  while (done < count) {
    if (!IsBuffered() && (loadBuffer(m_nPosition) != 0 || !IsBuffered())) return;  // dropped, as before
    const auto offset = static_cast<unsigned long>(m_nPosition - m_nBlockStart);
    const UINT n = std::min<UINT>(count - done, m_nBufferSize - offset);
    if (Apart(offset, offset + n)) {
      try {
        flushBuffer();
      } catch (CException* e) {
        KeepDropped(e);
        return;
      }
    }
    if (!Reserve(offset + n, !m_bStale)) return;  // no memory: dropped, as a block that cannot load
    MarkDirty(offset, offset + n);
    std::memcpy(m_pBuffer + offset, static_cast<const unsigned char*>(buffer) + done, n);
    done += n;
    m_nPosition += n;
  }
}

unsigned long long CFileBuffer::Seek(long long offset, UINT from) {
  // A reader's move onto data its block holds needs no system call: reads are
  // served from the block, and a load seeks the file itself. Skipping a record's
  // data this way costs nothing per record. A block that holds data came from a
  // file open and seekable; any other seek goes to the file, which judges it.
  if (m_pBuffer != nullptr && m_hFile != hFileNull && !Writing() && (from == begin || from == current)) {
    long long to = 0;
    const auto base = from == begin ? 0LL : static_cast<long long>(m_nPosition);
    if (!__builtin_add_overflow(base, offset, &to) && to >= 0 &&
        static_cast<unsigned long long>(to) >= m_nBlockStart &&
        static_cast<unsigned long long>(to) - m_nBlockStart < m_nValid) {
      m_nPosition = static_cast<unsigned long long>(to);
      return m_nPosition;
    }
  }
  CFile::Seek(static_cast<long long>(m_nPosition), begin);
  m_nPosition = CFile::Seek(offset, from);
  return m_nPosition;
}

unsigned long long CFileBuffer::GetPosition() const { return m_nPosition; }

unsigned long long CFileBuffer::GetLength() const {
  if (Writing() && m_bDirty) return m_nBlockStart + m_nDirtyEnd;
  return CFile::GetLength();
}

void CFileBuffer::Flush() {
  flushBuffer();
  CFile::Flush();
  ReportDroppedWrite();
}

void CFileBuffer::Close() {
  WriteDirty();  // the block is dropped next: nothing of it needs zeroing
  DeleteContents();
  m_nPosition = 0;
  CFile::Close();
  ReportDroppedWrite();
}
