#include <kwlib63/persist/serializer.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <tuple>

#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/persist/filebuffer.h>
#include <kwlib63/progress/indicadorestat.h>

namespace {

using kwfw::Load16;
using kwfw::Load32;
using kwfw::Store16;

constexpr unsigned long kBufferSize = 8388608;
constexpr UINT kOpenWrite = CFile::modeCreate | CFile::modeWrite | CFile::typeBinary;  // 36865
constexpr UINT kOpenRead = CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary;  // 32800
constexpr unsigned long kRest = 0xFFFFFFFF;  // ReadRecord: the rest of the record

// Shows a file error to the user and releases it.
void Report(CException* e) {
  e->ReportError(MB_ICONERROR, 0);
  e->Delete();
}

// WriteRecord, NextRecord and ReadRecord are inline; naming them here makes the
// library hold (and export) one definition for clients that call them out of line.
using NextRecordHeader = int (TSerializer::*)(SER_RECORDHEADER&, short, TIndicadorEstat*);
[[gnu::used]] const auto kExported = std::make_tuple(&TSerializer::WriteRecord, &TSerializer::ReadRecord,
                                                     static_cast<NextRecordHeader>(&TSerializer::NextRecord));
}  // namespace

TSerializer::TSerializer(CFile* file) : m_pFile(file), m_pBuffered(dynamic_cast<CFileBuffer*>(file)) {
  try {
    m_nLength = m_pFile != nullptr ? m_pFile->GetLength() : 0;
  } catch (CException* e) {
    Report(e);
  }
}

TSerializer::~TSerializer() = default;

TSerializer* TSerializer::Open(const wchar_t* path, int bWrite, unsigned long) {
  CFileBuffer* file = nullptr;
  try {
    file = new CFileBuffer(path, bWrite ? kOpenWrite : kOpenRead, kBufferSize);
  } catch (CException* e) {
    Report(e);
    return nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return new TSerializer(file);
}

void TSerializer::Close(TSerializer* serializer) {
  if (serializer == nullptr) return;
  CFile* file = serializer->m_pFile;
  delete serializer;
  if (file == nullptr) return;
  try {
    file->Close();
  } catch (CException* e) {
    Report(e);
  }
  delete file;
}

int TSerializer::TestFitxer(const wchar_t* path, int nTipus) {
  TSerializer* s = Open(path, 0);
  if (s == nullptr) return 0;
  short type = 0, w2 = 0, w3 = 0, w4 = 0;
  const int header = s->GetHeader(type, w2, w3, w4);
  Close(s);
  if (header != 0) return 0;
  return nTipus < 0 || type == nTipus ? 1 : 0;
}

int TSerializer::CreateHeader(short nTipus, short w2, short w3, short w4) {
  try {
    if (m_pFile->GetLength() != 0) return -16100;
    unsigned char header[KW_SER_FILEHEADER];
    Store16(header, static_cast<std::uint16_t>(nTipus));
    Store16(header + 2, static_cast<std::uint16_t>(w2));
    Store16(header + 4, static_cast<std::uint16_t>(w3));
    Store16(header + 6, static_cast<std::uint16_t>(w4));
    std::memcpy(header + 8, KW_SER_SIGNATURE, sizeof KW_SER_SIGNATURE);
    m_pFile->Write(header, sizeof header);
    return 0;
  } catch (CException* e) {
    Report(e);
    return -8;
  }
}

int TSerializer::GetHeader(short& nTipus, short& w2, short& w3, short& w4) {
  unsigned char header[KW_SER_FILEHEADER];
  try {
    if (m_pFile->Read(header, sizeof header) < sizeof header) return -7;
  } catch (CException* e) {
    Report(e);
    return -7;
  }
  if (std::memcmp(header + 8, KW_SER_SIGNATURE, sizeof KW_SER_SIGNATURE) != 0) return -16103;
  short words[4];
  for (int i = 0; i < 4; ++i) {
    words[i] = static_cast<short>(Load16(header + 2 * i));
    if (words[i] < 0) return -16103;
  }
  nTipus = words[0];
  w2 = words[1];
  w3 = words[2];
  w4 = words[3];
  return 0;
}

int TSerializer::WriteRecordGeneral(void* pData, unsigned long nLength, unsigned long nId) {
  // Lengths and identifiers are 32 bits in the file; a larger one cannot be written.
  if (nLength > 0xFFFFFFFFul || nId > 0xFFFFFFFFul || (nLength > 0 && pData == nullptr)) return -8;
  // A small record goes to the file in one piece: one call instead of two.
  unsigned char record[512];
  PutHeader(record, static_cast<DWORD>(nId), static_cast<DWORD>(nLength));
  try {
    if (nLength <= sizeof record - KW_SER_RECORDHEADER) {
      if (nLength > 0) std::memcpy(record + KW_SER_RECORDHEADER, pData, nLength);
      m_pFile->Write(record, static_cast<UINT>(KW_SER_RECORDHEADER + nLength));
    } else {
      m_pFile->Write(record, KW_SER_RECORDHEADER);
      m_pFile->Write(pData, static_cast<UINT>(nLength));
    }
    return 0;
  } catch (CException* e) {
    Report(e);
    return -8;
  }
}

short TSerializer::Push(short nNivell) {
  m_hdr.nNivell = nNivell >= 0 ? nNivell : static_cast<short>(m_hdr.nNivell + 1);
  return m_hdr.nNivell;
}

short TSerializer::Pop(short nNivell) {
  m_hdr.nNivell = nNivell >= 0 ? nNivell : static_cast<short>(m_hdr.nNivell - 1);
  return m_hdr.nNivell;
}

bool TSerializer::ReadExactly(void* buffer, unsigned long count) {
  if (count == 0) return true;
  if (const unsigned char* at = m_pBuffered != nullptr ? m_pBuffered->TakeInBlock(static_cast<unsigned int>(count)) : nullptr) {
    std::memcpy(buffer, at, count);
    return true;
  }
  return m_pFile->Read(buffer, static_cast<UINT>(count)) == count;
}

int TSerializer::ReadHeader(SER_RECORDHEADER* out) {
  if (m_bPending) {
    m_bPending = false;
    if (out != nullptr) *out = m_hdr;
    return 1;
  }
  if (m_nConsumed < m_hdr.nLength) m_pFile->Seek(static_cast<long long>(m_hdr.nLength - m_nConsumed), CFile::current);
  if (TakeHeaderInBlock(out)) return 1;
  unsigned char header[KW_SER_RECORDHEADER];
  if (!ReadExactly(header, sizeof header)) {
    // The end of the data: nothing of the last record is left to skip.
    m_nConsumed = m_hdr.nLength;
    return 0;
  }
  m_hdr = SER_RECORDHEADER{Load32(header), Load32(header + 4), static_cast<short>(Load16(header + 8))};
  if (out != nullptr) *out = m_hdr;
  m_nConsumed = 0;
  return 1;
}

int TSerializer::Advance(TIndicadorEstat* pIE) const {
  if (pIE == nullptr) return 1;
  double min = 0.0, max = 1.0;
  pIE->GetRang(min, max);
  const auto position = static_cast<double>(m_pFile->GetPosition());
  // The length is the one taken at the start; an empty one counts as no progress.
  const double fraction = m_nLength > 0 ? position / static_cast<double>(m_nLength) : 0.0;
  return pIE->MostrarEstat(min + (max - min) * fraction);
}

int TSerializer::NextRecordGeneral(SER_RECORDHEADER& hdr, short nNivell, TIndicadorEstat* pIE) {
  if (pIE != nullptr && pIE->TestCancel()) return 0;
  try {
    if (!ReadHeader(&hdr)) return 0;
    if (nNivell < 0 || nNivell == m_hdr.nNivell) return Advance(pIE);
    m_bPending = true;
    return 0;
  } catch (CException* e) {
    Report(e);
    return 0;
  }
}

int TSerializer::NextRecord(unsigned long& nId, unsigned long& nLength, short& nNivellRec, short nNivell,
                            TIndicadorEstat* pIE) {
  SER_RECORDHEADER hdr;
  if (!NextRecord(hdr, nNivell, pIE)) return 0;
  nId = hdr.nId;
  nLength = hdr.nLength;
  nNivellRec = hdr.nNivell;
  return 1;
}

bool TSerializer::DataInFile() {
  const unsigned long long left = m_hdr.nLength >= m_nConsumed ? m_hdr.nLength - m_nConsumed : 0;
  try {
    const unsigned long long length = m_pFile->GetLength(), position = m_pFile->GetPosition();
    if (position <= length && left <= length - position) return true;
    m_pFile->SeekToEnd();
  } catch (CException* e) {
    Report(e);
  }
  return false;
}

int TSerializer::ReadRecordGeneral(void* pBuffer, unsigned long nCount, TIndicadorEstat* pIE) {
  if (pIE != nullptr && pIE->TestCancel()) return 0;
  if (nCount == kRest) nCount = m_hdr.nLength >= m_nConsumed ? m_hdr.nLength - m_nConsumed : 0;
  if (nCount > 0xFFFFFFFFul || (nCount > 0 && pBuffer == nullptr)) return 0;
  try {
    if (!ReadExactly(pBuffer, nCount)) return 0;
  } catch (CException* e) {
    Report(e);
    return 0;
  }
  m_nConsumed += nCount;
  return Advance(pIE);
}

int TSerializer::SkipRecord(short nNivell, TIndicadorEstat* pIE) {
  if (nNivell < 0) nNivell = m_hdr.nNivell;
  try {
    while (ReadHeader()) {
      if (m_hdr.nNivell <= nNivell) {
        m_bPending = true;
        break;
      }
    }
    return Advance(pIE);
  } catch (CException* e) {
    Report(e);
    return 0;
  }
}

int TSerializer::ReadNextRecord(SER_RECORDHEADER& hdr, void*& pData, unsigned long* pLength, short nNivell,
                                TIndicadorEstat* pIE) {
  if (pIE != nullptr && pIE->TestCancel()) return -5;
  if (!NextRecord(hdr, nNivell, nullptr)) return -17;
  const bool allocated = pData == nullptr;
  if (allocated && !DataInFile()) return -7;
  if (allocated) {
    pData = std::malloc(hdr.nLength > 0 ? hdr.nLength : 1);
    if (pData == nullptr) AfxThrowMemoryException();
  }
  return ReadWholeRecord(hdr, pData, allocated, pLength, pIE);
}

int TSerializer::ReadWholeRecord(const SER_RECORDHEADER& hdr, void*& pData, bool allocated, unsigned long* pLength,
                                 TIndicadorEstat* pIE) {
  if (!ReadRecord(pData, kRest, pIE)) {
    if (allocated) {
      std::free(pData);
      pData = nullptr;
    }
    return -7;
  }
  if (pLength != nullptr) *pLength = hdr.nLength;
  return 0;
}

int TSerializer::ReadNextRecord(unsigned long nId, void*& pData, unsigned long* pLength, short nNivell,
                                TIndicadorEstat* pIE) {
  SER_RECORDHEADER hdr;
  if (!NextRecord(hdr, nNivell, pIE)) return -17;
  if (hdr.nId != nId) {
    m_bPending = true;
    return -9;
  }
  if (hdr.nLength == 0) return 0;
  const bool allocated = pData == nullptr;
  if (allocated && !DataInFile()) return -7;
  if (allocated && (pData = std::malloc(hdr.nLength)) == nullptr) return -1;
  return ReadWholeRecord(hdr, pData, allocated, pLength, pIE);
}

int TSerializer::ReadNextRecord(unsigned long nId, void* pBuffer, unsigned long nMax, unsigned long* pLength,
                                short nNivell, TIndicadorEstat* pIE) {
  if (pIE != nullptr && pIE->TestCancel()) return -5;
  SER_RECORDHEADER hdr;
  if (!NextRecord(hdr, nNivell, nullptr)) return -17;
  if (hdr.nId != nId) {
    m_bPending = true;
    return -9;
  }
  const unsigned long count = hdr.nLength < nMax ? hdr.nLength : nMax;
  if (count > 0) {
    try {
      if (pBuffer == nullptr || !ReadExactly(pBuffer, count)) return -7;
    } catch (CException* e) {
      Report(e);
      return -7;
    }
    m_nConsumed += count;
  }
  if (pLength != nullptr) *pLength = count;
  Advance(pIE);
  return count < hdr.nLength ? 4 : 0;
}

int TSerializer::GetRegistre(const wchar_t* path, unsigned long nId, void*& pData, unsigned long& nLength,
                             TIndicadorEstat* pIE) {
  CFile file;
  CFileException error;
  if (!file.Open(path, kOpenRead, &error)) {
    error.m_bAutoDelete = FALSE;
    error.ReportError(MB_ICONERROR, 0);
    return -6;
  }
  return GetRegistre(&file, nId, pData, nLength, pIE);
}

int TSerializer::GetRegistre(CFile* file, unsigned long nId, void*& pData, unsigned long& nLength,
                             TIndicadorEstat* pIE) {
  TSerializer s(file);
  short type, w2, w3, w4;
  if (const int header = s.GetHeader(type, w2, w3, w4); header != 0) return header;
  SER_RECORDHEADER hdr;
  if (!s.NextRecord(hdr, -1, pIE)) return -16102;
  while (hdr.nId != nId) {
    // Past the record just read and what lies under it.
    s.SkipRecord(-1, pIE);
    if (!s.NextRecord(hdr, -1, pIE)) return -16102;
  }
  nLength = hdr.nLength;
  if (hdr.nLength == 0) return 0;
  if (!s.DataInFile()) return -7;
  pData = std::malloc(hdr.nLength);
  if (pData == nullptr) return -1;
  if (!s.ReadRecord(pData, kRest, pIE)) {
    // The original leaves the block to its fate here; it is freed rather than lost.
    std::free(pData);
    pData = nullptr;
    return -7;
  }
  return 0;
}

void* TSerializer::GetRegistre(const wchar_t* path, unsigned long nId, unsigned long& nLength, TIndicadorEstat* pIE) {
  void* data = nullptr;
  return GetRegistre(path, nId, data, nLength, pIE) < 0 ? nullptr : data;
}

void* TSerializer::GetRegistre(CFile* file, unsigned long nId, unsigned long& nLength, TIndicadorEstat* pIE) {
  void* data = nullptr;
  return GetRegistre(file, nId, data, nLength, pIE) < 0 ? nullptr : data;
}

unsigned long long TSerializer::GetLength() const { return m_pFile->GetLength(); }
unsigned long long TSerializer::GetPosition() const { return m_pFile->GetPosition(); }

CObject* TSerializer::SetHelper(const wchar_t* name, CObject* p) {
  const std::wstring key = name != nullptr ? name : L"";
  const auto it = m_helpers.find(key);
  CObject* previous = it != m_helpers.end() ? it->second : nullptr;
  if (p == nullptr) {
    if (it != m_helpers.end()) m_helpers.erase(it);
  } else {
    m_helpers[key] = p;
  }
  return previous;
}

CObject* TSerializer::GetHelper(const wchar_t* name) const {
  const auto it = m_helpers.find(name != nullptr ? name : L"");
  return it != m_helpers.end() ? it->second : nullptr;
}
