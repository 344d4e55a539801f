#include <kwlib63/progress/comptatemps.h>

#include <cstdint>

#include <kwlib63/platform/clock.h>

TComptaTemps::TComptaTemps() { Reset(); }

int TComptaTemps::Reset() {
  m_nTickInici = kwplat::GetTickCount64();
  m_tInici = kwplat::Time64();
  return 0;
}

unsigned long long TComptaTemps::GetTempsActual() const { return kwplat::GetTickCount64() - m_nTickInici; }

int TComptaTemps::GetTempsActual(int& nHores, int& nMinuts, int& nSegons) const {
  return FormatTemps(GetTempsActual(), nHores, nMinuts, nSegons);
}

int TComptaTemps::FormatTemps(unsigned long long nMil, int& nHores, int& nMinuts, int& nSegons) {
  // 32-bit signed products, wrapping, then widened with their sign.
  const auto wrap32 = [](int value, std::uint32_t factor) {
    return static_cast<unsigned long long>(static_cast<long long>(
        static_cast<std::int32_t>(static_cast<std::uint32_t>(value) * factor)));
  };
  nHores = static_cast<int>(nMil / 3600000ULL);
  const unsigned long long p1 = wrap32(nHores, 3600000u);
  nMinuts = static_cast<int>((nMil - p1) / 60000ULL);
  const unsigned long long p2 = wrap32(nMinuts, 60000u);
  nSegons = static_cast<int>((nMil - p1 - p2) / 1000ULL);
  return 0;
}
