// TSerializer: identified, levelled binary records in a file. An 18-byte file
// header, then records of a 10-byte header and data, until the end of the file;
// a record is the parent of the following records with a greater level. Reading
// can drive a status indicator in proportion to the file position and stops when
// it is cancelled. File errors are shown to the user (ReportError) and turned
// into result codes; nothing is thrown.
//
// File header (little-endian): type, w2, w3, w4 (int16 each, none negative when
// read) | signature (10 bytes). Record: id (uint32) | length (uint32) | level
// (int16) | data.
#pragma once

#include <map>
#include <string>

#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/smallcopy.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/file.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/persist/filebuffer.h>

class TIndicadorEstat;

inline constexpr std::size_t KW_SER_FILEHEADER = 18;
inline constexpr std::size_t KW_SER_RECORDHEADER = 10;
inline constexpr unsigned char KW_SER_SIGNATURE[10] = {0x5A, 0xC3, 0x17, 0xE8, 0x4D, 0xB6, 0x21, 0x7F, 0x90, 0x3E};

struct KW_API SER_RECORDHEADER {
  DWORD nId;
  DWORD nLength;
  short nNivell;
};

class KW_API TSerializer {
 public:
  // Works on an open file it does not own.
  explicit TSerializer(CFile* file);
  virtual ~TSerializer();
  TSerializer(const TSerializer&) = delete;
  TSerializer& operator=(const TSerializer&) = delete;

  // Opens `path` through an 8 MiB CFileBuffer, for writing (created) or reading.
  // The third argument is not used. Null, after showing the error, on failure.
  static TSerializer* Open(const wchar_t* path, int bWrite, unsigned long = 0);
  // Deletes the serializer, then closes and deletes its file. Null is ignored.
  static void Close(TSerializer* serializer);
  // 1 when `path` has a good header of type `nTipus` (any type when negative).
  static int TestFitxer(const wchar_t* path, int nTipus);

  // Only on an empty file: 0, -16100 when the file has content, -8 on a write error.
  int CreateHeader(short nTipus, short w2, short w3, short w4);
  // 0, -7 when 18 bytes cannot be read, -16103 for a bad signature or a negative word.
  int GetHeader(short& nTipus, short& w2, short& w3, short& w4);

  // A record of the current level (note the order: data, length, identifier).
  // 0, or -8 on a write error.
  KW_API int WriteRecord(void* pData, unsigned long nLength, unsigned long nId) {
    // A record that fits the file's block is placed there whole, without a call.
    unsigned char* at = pData != nullptr && nLength - 1 < 0xFFFFFFF5ul && nId <= 0xFFFFFFFFul && m_pBuffered != nullptr
                            ? m_pBuffered->PlaceInBlock(static_cast<unsigned int>(KW_SER_RECORDHEADER + nLength))
                            : nullptr;
    if (at == nullptr) return WriteRecordGeneral(pData, nLength, nId);
    PutHeader(at, static_cast<DWORD>(nId), static_cast<DWORD>(nLength));
    kwfw::CopyBytes(at + KW_SER_RECORDHEADER, pData, nLength);
    return 0;
  }
  // A non-negative argument sets the level; a negative one adds (Push) or takes
  // (Pop) one. Both return the new level.
  short Push(short nNivell = -1);
  short Pop(short nNivell = -1);
  short GetNivell() const { return m_hdr.nNivell; }
  void SetNivell(short nNivell) { m_hdr.nNivell = nNivell; }

  // The next record header at level `nNivell` (any level when negative): 1, or 0
  // at the end of the data, on a cancel, or for another level (that record stays
  // pending for the next call).
  // Readers call this and ReadRecord once per record, so the usual case, a
  // record in the file's block and no indicator, is served here without a call.
  // The three are still exported for clients built when they were not inline.
  KW_API int NextRecord(SER_RECORDHEADER& hdr, short nNivell = -1, TIndicadorEstat* pIE = nullptr) {
    if (pIE != nullptr || m_bPending || m_nConsumed < m_hdr.nLength || !TakeHeaderInBlock(&hdr)) {
      return NextRecordGeneral(hdr, nNivell, pIE);
    }
    if (nNivell < 0 || nNivell == hdr.nNivell) return 1;
    m_bPending = true;
    return 0;
  }
  int NextRecord(unsigned long& nId, unsigned long& nLength, short& nNivellRec, short nNivell = -1,
                 TIndicadorEstat* pIE = nullptr);
  // `nCount` bytes of data (0xFFFFFFFF: the rest of the record). 1, or 0 when fewer
  // arrive or on a cancel.
  KW_API int ReadRecord(void* pBuffer, unsigned long nCount, TIndicadorEstat* pIE = nullptr) {
    const unsigned char* at = pIE == nullptr && pBuffer != nullptr && nCount - 1 < 0xFFFFFFFEul && m_pBuffered != nullptr
                                  ? m_pBuffered->TakeInBlock(static_cast<unsigned int>(nCount))
                                  : nullptr;
    if (at == nullptr) return ReadRecordGeneral(pBuffer, nCount, pIE);
    kwfw::CopyBytes(pBuffer, at, nCount);
    m_nConsumed += nCount;
    return 1;
  }
  // Skips the records deeper than `nNivell` (the current level when negative).
  int SkipRecord(short nNivell = -1, TIndicadorEstat* pIE = nullptr);
  // The next record whole. 0; -5 cancelled; -17 no record; -7 read error; the
  // identifier forms: -9 another identifier (left pending), -1 no memory. A block
  // allocated here (with malloc) is the caller's.
  int ReadNextRecord(SER_RECORDHEADER& hdr, void*& pData, unsigned long* pLength = nullptr, short nNivell = -1,
                     TIndicadorEstat* pIE = nullptr);
  int ReadNextRecord(unsigned long nId, void*& pData, unsigned long* pLength = nullptr, short nNivell = -1,
                     TIndicadorEstat* pIE = nullptr);
  // Into the caller's buffer: 0, or 4 when the record was cut to `nMax` bytes.
  int ReadNextRecord(unsigned long nId, void* pBuffer, unsigned long nMax, unsigned long* pLength, short nNivell,
                     TIndicadorEstat* pIE);

  // The first record with `nId` among the first record's siblings and the records
  // above them. 0; -6 cannot open; -7 or -16103 bad header; -16102 not found; -7
  // data unreadable. `pData` receives a malloc block for a non-empty record.
  static int GetRegistre(const wchar_t* path, unsigned long nId, void*& pData, unsigned long& nLength,
                         TIndicadorEstat* pIE = nullptr);
  static int GetRegistre(CFile* file, unsigned long nId, void*& pData, unsigned long& nLength,
                         TIndicadorEstat* pIE = nullptr);
  // The same, returning the block or null.
  static void* GetRegistre(const wchar_t* path, unsigned long nId, unsigned long& nLength, TIndicadorEstat* pIE = nullptr);
  static void* GetRegistre(CFile* file, unsigned long nId, unsigned long& nLength, TIndicadorEstat* pIE = nullptr);

  unsigned long long GetLength() const;
  unsigned long long GetPosition() const;

  // Stores `p` under `name` (removes it for null); returns what was stored before.
  // The objects are not owned.
  CObject* SetHelper(const wchar_t* name, CObject* p);
  CObject* GetHelper(const wchar_t* name) const;

 private:
  int WriteRecordGeneral(void* pData, unsigned long nLength, unsigned long nId);
  // A record header of the current level at `at`.
  void PutHeader(unsigned char* at, DWORD nId, DWORD nLength) const {
    kwfw::Store32(at, nId);
    kwfw::Store32(at + 4, nLength);
    kwfw::Store16(at + 8, static_cast<std::uint16_t>(m_hdr.nNivell));
  }
  int NextRecordGeneral(SER_RECORDHEADER& hdr, short nNivell, TIndicadorEstat* pIE);
  int ReadRecordGeneral(void* pBuffer, unsigned long nCount, TIndicadorEstat* pIE);
  // Delivers the pending header or reads the next one, also into `out` when given.
  // 1, or 0 at the end of data.
  int ReadHeader(SER_RECORDHEADER* out = nullptr);
  // The next header taken from the file's block, when it lies there whole: kept as
  // the current one and handed out from the parsed values (loading it back from
  // m_hdr just after the stores would wait for them).
  bool TakeHeaderInBlock(SER_RECORDHEADER* out) {
    const unsigned char* at = m_pBuffered != nullptr ? m_pBuffered->TakeInBlock(KW_SER_RECORDHEADER) : nullptr;
    if (at == nullptr) return false;
    // Each record's place depends on the last one's length: fetching ahead keeps
    // the walk from waiting on memory.
    __builtin_prefetch(at + 4096);
    const SER_RECORDHEADER parsed{kwfw::Load32(at), kwfw::Load32(at + 4), static_cast<short>(kwfw::Load16(at + 8))};
    m_hdr = parsed;
    if (out != nullptr) *out = parsed;
    m_nConsumed = 0;
    return true;
  }
  // The indicator moved to the file position; 1 without one.
  int Advance(TIndicadorEstat* pIE) const;
  // Reads the current record into `pData`: 0, or -7 (a block `allocated` here is
  // then freed and `pData` reset).
  int ReadWholeRecord(const SER_RECORDHEADER& hdr, void*& pData, bool allocated, unsigned long* pLength,
                      TIndicadorEstat* pIE);
  // Whether the rest of the current record's data lies within the file. When it
  // does not, the file is left at its end, as a short read leaves it: a damaged
  // length is refused before a block of its size is allocated.
  bool DataInFile();
  // Reads exactly `count` bytes: true, or false when fewer arrive.
  bool ReadExactly(void* buffer, unsigned long count);

  CFile* m_pFile;
  CFileBuffer* m_pBuffered;  // m_pFile when it is a CFileBuffer: small records skip its general path
  SER_RECORDHEADER m_hdr = {0, 0, 0};
  bool m_bPending = false;
  unsigned long m_nConsumed = 0;
  unsigned long long m_nLength = 0;
  std::map<std::wstring, CObject*> m_helpers;
};
