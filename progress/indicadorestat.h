// TIndicadorEstat: progress, pause and cancel for long operations. A worker
// reports a position and a message; observers (usually the user-interface thread)
// watch them through a callback or by polling, and cancel, pause and resume.
// Nested operations map their own 0..1 progress into a sub-range of their caller's
// through a stack of ranges; CSetSubRangIE pushes one for a scope.
//
// Threads: one critical section guards the message, the position and the cancel
// flag. It is held across the callback in SetMissatge, never across the callback
// in MostrarEstat nor across the pause wait. The range stack and the timer belong
// to the worker alone.
//
// A null TIndicadorEstat* is allowed wherever the library takes one: the members
// marked "null-tolerant" answer through a null pointer (1 to go on, 0.0, ...).
#pragma once

#include <atomic>
#include <vector>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/syncobject.h>

class KW_API RANGIE {
 public:
  RANGIE() = default;
  RANGIE(double lo, double hi) : min(lo), max(hi) {}
  void Set(double lo, double hi) {
    min = lo;
    max = hi;
  }
  double rang() const { return max - min; }
  // Maps a relative value (0..1; outside it extrapolates) into the range.
  double convRang(double x) const { return min + (max - min) * x; }

  double min = 0.0;
  double max = 1.0;
};

class KW_API TIndicadorEstat {
 public:
  using CALLBACK_ESTAT = void (*)(TIndicadorEstat* ie, __int64 lUser);

  // Empty message, position 0, running, not cancelled, timer off, ranges (0, 1).
  explicit TIndicadorEstat(CALLBACK_ESTAT callback = nullptr, __int64 lUser = 0);
  virtual ~TIndicadorEstat();
  TIndicadorEstat(const TIndicadorEstat&) = delete;
  TIndicadorEstat& operator=(const TIndicadorEstat&) = delete;

  // The virtual operations, in the order of the indicator's interface.
  // Stores the message and calls the callback, both under the lock.
  virtual void SetMissatge(const wchar_t* text);
  // Stores the position (not clamped), calls the callback outside the lock, waits
  // while paused. 1 to go on, 0 when cancelled.
  virtual int MostrarEstat(double pos);
  // The cancel flag.
  virtual int TestCancel();
  // Resets the indicator for a new job (message, position, cancel, pause, ranges,
  // timer restarted when enabled).
  virtual void Init();
  // Sets the cancel flag and wakes a paused worker.
  virtual void Cancelar();
  virtual void Pausa();
  virtual void Reanudar();
  // Display hooks for derived classes; nothing here.
  virtual void Mostrar();
  virtual void Amagar();
  virtual void ActivarTimer();
  virtual void DesactivarTimer();
  // Shows `text` in the library's message box with the icon of `nTipus` (0 info,
  // 1 warning, 2 error, else none) and `nFlags` as further style.
  virtual int Report(const wchar_t* text, int nTipus, unsigned int nFlags);

  // The message from string `nID` in the library's current language.
  void SetMissatge(unsigned int nID);
  // printf-style message; the string `nID` is taken in the default language,
  // whatever the current one (kept as callers expect).
  void FormatMissatge(unsigned int nID, ...);
  void FormatMissatge(const wchar_t* format, ...);

  // Null-tolerant. The range operations: each push and pop goes through
  // MostrarEstat, so each is a pause point and a cancel test. On an empty range
  // stack they return !TestCancel() without moving.
  int MostrarEstatRel(double rel);
  int SetSubRangRel(double a, double b);
  // Step `nPos` of `nTotal` equal steps of the current range (nTotal 0 is not
  // guarded: the step is infinite).
  int SetRangPosicioRel(unsigned long long nPos, unsigned long long nTotal);
  // Pops the top range and shows its end.
  int PopRangRel();
  // The top range; (0, 0) on an empty stack, (0, 1) for a null indicator.
  void GetRang(double& min, double& max) const;
  void SetRang(double min, double max);
  // The position; 0.0 for a null indicator.
  double GetEstat() const;

  int GetPausa() const;
  CString GetMissatge() const;
  // Blocks while paused. On a thread with a thread object it pumps that thread's
  // messages while it waits. 0 when running, -5 when cancelled while pumping,
  // 1 when the wait failed.
  int EsperarPausa();

  // Milliseconds since the timer started (0 without a timer).
  unsigned long long GetTempsTimer() const;
  // The timer's start, or now without a timer.
  CTime GetStartTime() const;
  // Start + elapsed / position, in whole seconds; now without a timer or while the
  // position is not above 0.
  CTime GetETA() const;

  int Report(unsigned int nID, int nTipus, unsigned int nFlags);
  int ReportInfo(unsigned int nID, unsigned int nFlags = 0);
  int ReportInfo(const wchar_t* text, unsigned int nFlags = 0);
  int ReportAvis(unsigned int nID, unsigned int nFlags = 0);
  int ReportAvis(const wchar_t* text, unsigned int nFlags = 0);
  int ReportError(unsigned int nID, unsigned int nFlags = 0);
  int ReportError(const wchar_t* text, unsigned int nFlags = 0);

 protected:
  // Null-tolerant.
  double getMin() const;  // 0.0 for null or an empty stack
  double getMax() const;  // 1.0 for null, 0.0 for an empty stack
  int getTopRang(RANGIE& range) const;
  int popRang(RANGIE& range);
  void pushRang(double min, double max);

 private:
  struct Timer {
    unsigned long long tick;
    long long time;
  };
  void StartTimer();
  void Run();  // signals the pause event: running

  mutable CCriticalSection m_cs;  // guards m_sMissatge, m_dPosicio, and the writes of m_bCancel,
                                  // m_bPausat and m_evPausa
  CString m_sMissatge;
  double m_dPosicio = 0.0;
  // Written under m_cs. A single word, so MostrarEstat reads it without the lock and
  // sees what a locked read would: a report then costs one lock, not two.
  std::atomic<int> m_bCancel{0};
  CEvent m_evPausa;  // manual reset; signalled while running
  // A quick look at the pause for every report, so that a running worker does not
  // ask the event: set before the event is reset, cleared after it is set, so
  // "not paused" read here is never wrong; "paused" is checked on the event.
  std::atomic<bool> m_bPausat{false};
  int m_bTimer = 0;
  Timer* m_pTimer = nullptr;
  std::vector<RANGIE> m_rangs;  // the top at the back
  CALLBACK_ESTAT m_pCallback;
  __int64 m_lUser;
};

// Pushes a sub-range for a scope and pops it at the end. Do not copy: a copy pops
// again.
class KW_API CSetSubRangIE {
 public:
  CSetSubRangIE(TIndicadorEstat* ie, double a, double b);
  CSetSubRangIE(TIndicadorEstat* ie, int nPos, int nTotal);
  CSetSubRangIE(const CSetSubRangIE&) = default;
  CSetSubRangIE& operator=(const CSetSubRangIE&) = default;
  virtual ~CSetSubRangIE();

  void SetSubRang(double a, double b);
  void SetSubRangPosicio(int nPos, int nTotal);
  void Restore();
  int TestCancel() const;

 private:
  TIndicadorEstat* m_pIE;
  int m_bActiu = 0;
};
