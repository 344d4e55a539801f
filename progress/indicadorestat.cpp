#include <kwlib63/progress/indicadorestat.h>

#include <cstdarg>

#include <kwlib63/core/loadstring.h>
#include <kwlib63/core/moxelmessagebox.h>
#include <kwlib63/framework/nullsafe.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/platform/clock.h>
#include <kwlib63/platform/event.h>
#include <kwlib63/ui/appframe.h>

namespace {
// Holds the indicator's critical section for a scope. The calls are qualified:
// the section is a member of known type, and a report is cheaper without dispatch.
class Locked {
 public:
  explicit Locked(CCriticalSection& cs) : m_cs(cs) { m_cs.CCriticalSection::Lock(); }
  ~Locked() { m_cs.CCriticalSection::Unlock(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  CCriticalSection& m_cs;
};
}  // namespace

TIndicadorEstat::TIndicadorEstat(CALLBACK_ESTAT callback, __int64 lUser)
    : m_evPausa(TRUE, TRUE), m_pCallback(callback), m_lUser(lUser) {
  m_rangs.reserve(10);
  m_rangs.emplace_back(0.0, 1.0);
}

TIndicadorEstat::~TIndicadorEstat() { delete m_pTimer; }

void TIndicadorEstat::SetMissatge(const wchar_t* text) {
  Locked lock(m_cs);
  m_sMissatge = text;
  if (m_pCallback != nullptr) m_pCallback(this, m_lUser);  // under the lock, by design
}

int TIndicadorEstat::MostrarEstat(double pos) {
  {
    Locked lock(m_cs);
    m_dPosicio = pos;
  }
  if (m_pCallback != nullptr) m_pCallback(this, m_lUser);
  // The pause wait is a call only when a pause may be on.
  if (m_bPausat.load(std::memory_order_acquire)) EsperarPausa();
  return m_bCancel.load(std::memory_order_acquire) ? 0 : 1;
}

int TIndicadorEstat::TestCancel() {
  Locked lock(m_cs);
  return m_bCancel.load();
}

void TIndicadorEstat::Init() {
  {
    Locked lock(m_cs);
    m_sMissatge.Empty();
    Run();
  }
  // Unlocked: the report calls the callback and may wait in a pause that its
  // callback asked for, which another thread's resume must be able to end.
  MostrarEstat(0.0);
  Locked lock(m_cs);
  m_dPosicio = 0.0;
  m_bCancel = 0;
  m_rangs.clear();
  m_rangs.emplace_back(0.0, 1.0);
  delete m_pTimer;
  m_pTimer = nullptr;
  if (m_bTimer) StartTimer();
}

void TIndicadorEstat::Cancelar() {
  {
    Locked lock(m_cs);
    m_bCancel.store(1, std::memory_order_release);
  }
  Run();
}

// The event and its quick copy change together under the lock, so that a pause
// and a resume from two threads cannot leave them disagreeing.
void TIndicadorEstat::Pausa() {
  Locked lock(m_cs);
  m_bPausat.store(true, std::memory_order_release);  // before the event: see m_bPausat
  m_evPausa.ResetEvent();
}

void TIndicadorEstat::Reanudar() { Run(); }

void TIndicadorEstat::Run() {
  Locked lock(m_cs);
  m_evPausa.SetEvent();
  m_bPausat.store(false, std::memory_order_release);  // after the event: see m_bPausat
}
void TIndicadorEstat::Mostrar() {}
void TIndicadorEstat::Amagar() {}

void TIndicadorEstat::StartTimer() { m_pTimer = new Timer{kwplat::GetTickCount64(), kwplat::Time64()}; }

void TIndicadorEstat::ActivarTimer() {
  delete m_pTimer;
  m_pTimer = nullptr;
  m_bTimer = 1;
  StartTimer();
}

void TIndicadorEstat::DesactivarTimer() {
  delete m_pTimer;
  m_pTimer = nullptr;
  m_bTimer = 0;
}

int TIndicadorEstat::Report(const wchar_t* text, int nTipus, unsigned int nFlags) {
  static const unsigned int kIcons[] = {MB_ICONINFORMATION, MB_ICONWARNING, MB_ICONERROR};
  const unsigned int icon = nTipus >= 0 && nTipus <= 2 ? kIcons[nTipus] : 0;
  return AfxMoxelMessageBox(text, icon | nFlags, 0, nullptr);
}

void TIndicadorEstat::SetMissatge(unsigned int nID) { SetMissatge(AfxLoadString(nID)); }

void TIndicadorEstat::FormatMissatge(unsigned int nID, ...) {
  const CString format = AfxLoadStringLang(nID, LANG_USER_DEFAULT, nullptr);
  CString text;
  va_list args;
  va_start(args, nID);
  text.FormatV(format, args);
  va_end(args);
  SetMissatge(text);
}

void TIndicadorEstat::FormatMissatge(const wchar_t* format, ...) {
  CString text;
  va_list args;
  va_start(args, format);
  text.FormatV(format, args);
  va_end(args);
  SetMissatge(text);
}


KW_NULL_TOLERANT int TIndicadorEstat::MostrarEstatRel(double rel) {
  if (kwfw::IsNullObject(this)) return 1;
  if (m_rangs.empty()) return !TestCancel();
  return MostrarEstat(m_rangs.back().convRang(rel));
}

KW_NULL_TOLERANT int TIndicadorEstat::SetSubRangRel(double a, double b) {
  if (kwfw::IsNullObject(this)) return 1;
  if (m_rangs.empty()) return !TestCancel();
  const RANGIE top = m_rangs.back();
  m_rangs.emplace_back(top.convRang(a), top.convRang(b));
  return MostrarEstat(m_rangs.back().min);
}

KW_NULL_TOLERANT int TIndicadorEstat::SetRangPosicioRel(unsigned long long nPos, unsigned long long nTotal) {
  if (kwfw::IsNullObject(this)) return 1;
  if (m_rangs.empty()) return !TestCancel();
  const RANGIE top = m_rangs.back();
  const double step = top.rang() / static_cast<double>(nTotal);
  const double lo = top.min + static_cast<double>(nPos) * step;
  m_rangs.emplace_back(lo, lo + step);
  return MostrarEstat(lo);
}

KW_NULL_TOLERANT int TIndicadorEstat::PopRangRel() {
  if (kwfw::IsNullObject(this)) return 1;
  RANGIE popped;
  if (!popRang(popped)) return !TestCancel();
  return MostrarEstat(popped.max);
}

KW_NULL_TOLERANT void TIndicadorEstat::GetRang(double& min, double& max) const {
  if (kwfw::IsNullObject(this)) {
    min = 0.0, max = 1.0;
  } else if (m_rangs.empty()) {
    min = 0.0, max = 0.0;
  } else {
    min = m_rangs.back().min, max = m_rangs.back().max;
  }
}

KW_NULL_TOLERANT void TIndicadorEstat::SetRang(double min, double max) {
  if (kwfw::IsNullObject(this)) return;
  if (m_rangs.empty()) {
    m_rangs.emplace_back(min, max);
  } else {
    m_rangs.back().Set(min, max);
  }
}

KW_NULL_TOLERANT double TIndicadorEstat::GetEstat() const {
  if (kwfw::IsNullObject(this)) return 0.0;
  Locked lock(m_cs);
  return m_dPosicio;
}

KW_NULL_TOLERANT double TIndicadorEstat::getMin() const {
  if (kwfw::IsNullObject(this) || m_rangs.empty()) return 0.0;
  return m_rangs.back().min;
}

KW_NULL_TOLERANT double TIndicadorEstat::getMax() const {
  if (kwfw::IsNullObject(this)) return 1.0;
  return m_rangs.empty() ? 0.0 : m_rangs.back().max;
}

KW_NULL_TOLERANT int TIndicadorEstat::getTopRang(RANGIE& range) const {
  if (kwfw::IsNullObject(this) || m_rangs.empty()) return 0;
  range = m_rangs.back();
  return 1;
}

KW_NULL_TOLERANT int TIndicadorEstat::popRang(RANGIE& range) {
  if (kwfw::IsNullObject(this) || m_rangs.empty()) return 0;
  range = m_rangs.back();
  m_rangs.pop_back();
  return 1;
}

KW_NULL_TOLERANT void TIndicadorEstat::pushRang(double min, double max) {
  if (kwfw::IsNullObject(this)) return;
  m_rangs.emplace_back(min, max);
}

int TIndicadorEstat::GetPausa() const {
  return kwplat::WaitForSingleObject(m_evPausa.m_hObject, 0) == WAIT_OBJECT_0 ? 0 : 1;
}

CString TIndicadorEstat::GetMissatge() const {
  Locked lock(m_cs);
  return m_sMissatge;
}

int TIndicadorEstat::EsperarPausa() {
  if (!m_bPausat.load(std::memory_order_acquire) || !GetPausa()) return 0;
  CSyncObject* objects[] = {&m_evPausa};
  CMultiLock wait(objects, 1);
  // A thread without a thread object has no messages to pump: it simply waits.
  const DWORD wakeMask = AfxGetThread() != nullptr ? QS_ALLINPUT : 0;
  for (;;) {
    const DWORD result = wait.Lock(INFINITE, FALSE, wakeMask);
    if (result == WAIT_OBJECT_0) return 0;
    if (result != WAIT_OBJECT_0 + 1) return 1;
    AfxDoEvents(nullptr, 1);
    if (TestCancel()) return -5;
    if (!GetPausa()) return 0;
  }
}

unsigned long long TIndicadorEstat::GetTempsTimer() const {
  return m_pTimer != nullptr ? kwplat::GetTickCount64() - m_pTimer->tick : 0;
}

CTime TIndicadorEstat::GetStartTime() const {
  return m_pTimer != nullptr ? CTime(m_pTimer->time) : CTime(kwplat::Time64());
}

CTime TIndicadorEstat::GetETA() const {
  const double pos = GetEstat();
  if (m_pTimer == nullptr || !(pos > 0.0)) return CTime(kwplat::Time64());
  // A tiny position gives an end beyond any time: the last one a CTime holds.
  const double seconds = static_cast<double>(GetTempsTimer()) / (pos * 1000.0);
  const double room = static_cast<double>(CTime::kMaxTime - m_pTimer->time);
  return CTime(seconds < room ? m_pTimer->time + static_cast<long long>(seconds) : CTime::kMaxTime);
}

int TIndicadorEstat::Report(unsigned int nID, int nTipus, unsigned int nFlags) {
  return Report(AfxLoadString(nID), nTipus, nFlags);
}
int TIndicadorEstat::ReportInfo(unsigned int nID, unsigned int nFlags) { return Report(nID, 0, nFlags); }
int TIndicadorEstat::ReportInfo(const wchar_t* text, unsigned int nFlags) { return Report(text, 0, nFlags); }
int TIndicadorEstat::ReportAvis(unsigned int nID, unsigned int nFlags) { return Report(nID, 1, nFlags); }
int TIndicadorEstat::ReportAvis(const wchar_t* text, unsigned int nFlags) { return Report(text, 1, nFlags); }
int TIndicadorEstat::ReportError(unsigned int nID, unsigned int nFlags) { return Report(nID, 2, nFlags); }
int TIndicadorEstat::ReportError(const wchar_t* text, unsigned int nFlags) { return Report(text, 2, nFlags); }

CSetSubRangIE::CSetSubRangIE(TIndicadorEstat* ie, double a, double b) : m_pIE(ie) { SetSubRang(a, b); }

CSetSubRangIE::CSetSubRangIE(TIndicadorEstat* ie, int nPos, int nTotal) : m_pIE(ie) { SetSubRangPosicio(nPos, nTotal); }

CSetSubRangIE::~CSetSubRangIE() { Restore(); }

void CSetSubRangIE::SetSubRang(double a, double b) {
  Restore();
  if (m_pIE != nullptr) {
    m_pIE->SetSubRangRel(a, b);
    m_bActiu = 1;
  }
}

void CSetSubRangIE::SetSubRangPosicio(int nPos, int nTotal) {
  Restore();
  // The ints are sign-extended and then taken as unsigned, as the original does.
  if (m_pIE != nullptr) {
    m_pIE->SetRangPosicioRel(static_cast<unsigned long long>(static_cast<long long>(nPos)),
                             static_cast<unsigned long long>(static_cast<long long>(nTotal)));
  }
  m_bActiu = 1;  // also without an indicator, unlike the other form
}

void CSetSubRangIE::Restore() {
  if (!m_bActiu) return;
  if (m_pIE != nullptr) m_pIE->PopRangRel();
  m_bActiu = 0;
}

int CSetSubRangIE::TestCancel() const { return m_pIE != nullptr ? m_pIE->TestCancel() : 0; }
