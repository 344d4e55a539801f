// TComptaTemps: a stopwatch in milliseconds of the monotonic tick count, with the
// wall-clock time it started. A plain value object: no lock, no thread affinity.
#pragma once

#include <kwlib63/framework/ctime.h>
#include <kwlib63/framework/export.h>

class KW_API TComptaTemps {
 public:
  TComptaTemps();
  // Restarts now; returns 0.
  int Reset();
  // Milliseconds since the start.
  unsigned long long GetTempsActual() const;
  // The same, split as FormatTemps splits it; returns 0.
  int GetTempsActual(int& nHores, int& nMinuts, int& nSegons) const;
  // Splits `nMil` milliseconds into hours, minutes and seconds (the rest dropped);
  // returns 0. The products are computed in 32 bits, so from 597 hours on the
  // minutes and seconds come out wrong: kept, as callers' results depend on it.
  static int FormatTemps(unsigned long long nMil, int& nHores, int& nMinuts, int& nSegons);
  CTime GetTempsInici() const { return CTime(m_tInici); }

 private:
  unsigned long long m_nTickInici;
  long long m_tInici;
};
