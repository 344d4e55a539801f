#include <kwlib63/containers/taula.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include <kwlib63/core/valueitem.h>
#include <kwlib63/framework/exception.h>

constinit CMoxelRTTI TTaula::m_rttiTTaula(&TItem::m_rttiTItem, "TTaula", kwtipus::TTaula, sizeof(TTaula), nullptr);

namespace {

// Cell arrays carry the number of tables that hold them just before the cells.
struct CellsHeader {
  long holders;
};

CellsHeader* HeaderOf(TItem** cells) {
  return reinterpret_cast<CellsHeader*>(reinterpret_cast<char*>(cells) - sizeof(CellsHeader));
}

TItem** NewCells(long long count) {
  void* block = count >= 0 ? std::calloc(1, sizeof(CellsHeader) + static_cast<std::size_t>(count) * sizeof(TItem*)) : nullptr;
  if (block == nullptr) AfxThrowMemoryException();
  static_cast<CellsHeader*>(block)->holders = 1;
  return reinterpret_cast<TItem**>(static_cast<char*>(block) + sizeof(CellsHeader));
}

}  // namespace

TTaula::TTaula(const TTaula& other)
    : TItem(other), m_nFiles(other.m_nFiles), m_nColumnes(other.m_nColumnes), m_ppCel(other.m_ppCel) {
  if (m_ppCel != nullptr) ++HeaderOf(m_ppCel)->holders;
}

TTaula& TTaula::operator=(const TTaula& other) {
  if (other.m_ppCel != nullptr) ++HeaderOf(other.m_ppCel)->holders;
  Drop();
  m_nFiles = other.m_nFiles;
  m_nColumnes = other.m_nColumnes;
  m_ppCel = other.m_ppCel;
  return *this;
}

TTaula::~TTaula() { Drop(); }

CMoxelRTTI* TTaula::GetRTTI() const { return &m_rttiTTaula; }

TItem* TTaula::_CrearItem(int, int) { return nullptr; }

void TTaula::Drop() {
  if (m_ppCel != nullptr) {
    if (--HeaderOf(m_ppCel)->holders == 0) {
      for (long long i = static_cast<long long>(m_nFiles) * m_nColumnes - 1; i >= 0; --i) delete m_ppCel[i];
      std::free(HeaderOf(m_ppCel));
    }
  }
  m_ppCel = nullptr;
  m_nFiles = 0;
  m_nColumnes = 0;
}

void TTaula::DestruirTaula() { Drop(); }

template <typename Source>
void TTaula::Rebuild(int rows, int columns, Source&& source) {
  TItem** cells = NewCells(static_cast<long long>(rows) * columns);
  // Filled from the last cell to the first, as the factory expects.
  for (int r = rows - 1; r >= 0; --r) {
    for (int c = columns - 1; c >= 0; --c) cells[static_cast<long long>(r) * columns + c] = source(r, c);
  }
  // The items have moved to the new cells. A table still sharing the old ones
  // keeps them, emptied, so that it never sees an item it does not hold.
  if (m_ppCel != nullptr) {
    if (--HeaderOf(m_ppCel)->holders == 0) {
      std::free(HeaderOf(m_ppCel));
    } else {
      std::fill(m_ppCel, m_ppCel + static_cast<long long>(m_nFiles) * m_nColumnes, nullptr);
    }
  }
  m_ppCel = cells;
  m_nFiles = rows;
  m_nColumnes = columns;
}

void TTaula::ConstruirTaula(int rows, int columns) {
  DestruirTaula();
  if (rows < 0 || columns < 0) AfxThrowInvalidArgException();
  Rebuild(rows, columns, [&](int r, int c) { return _CrearItem(r, c); });
}

TItem* TTaula::GetItem(int row, int column) const { return m_ppCel[static_cast<long long>(row) * m_nColumnes + column]; }

void TTaula::SetItem(TItem* item, int row, int column) {
  TItem*& cell = m_ppCel[static_cast<long long>(row) * m_nColumnes + column];
  if (cell != nullptr && cell != item) delete cell;
  cell = item;
}

void TTaula::InsertarFiles(int pos, int n) {
  if (n <= 0) return;
  if (pos < 0 || pos > m_nFiles) pos = m_nFiles;
  TItem** old = m_ppCel;
  const int columns = m_nColumnes;
  Rebuild(m_nFiles + n, columns, [&](int r, int c) -> TItem* {
    if (r < pos) return old[static_cast<long long>(r) * columns + c];
    if (r >= pos + n) return old[static_cast<long long>(r - n) * columns + c];
    return _CrearItem(r, c);
  });
}

void TTaula::InsertarColumnes(int pos, int n) {
  if (n <= 0) return;
  if (pos < 0 || pos > m_nColumnes) pos = m_nColumnes;
  TItem** old = m_ppCel;
  const int columns = m_nColumnes;
  Rebuild(m_nFiles, m_nColumnes + n, [&](int r, int c) -> TItem* {
    if (c < pos) return old[static_cast<long long>(r) * columns + c];
    if (c >= pos + n) return old[static_cast<long long>(r) * columns + c - n];
    return _CrearItem(r, c);
  });
}

void TTaula::EliminarFiles(int pos, int n) {
  if (n <= 0) return;
  if (n >= m_nFiles) {
    DestruirTaula();
    return;
  }
  if (pos < 0 || pos >= m_nFiles) return;
  n = std::min(n, m_nFiles - pos);
  const int columns = m_nColumnes;
  for (long long i = static_cast<long long>(pos) * columns; i < static_cast<long long>(pos + n) * columns; ++i) {
    delete m_ppCel[i];
    m_ppCel[i] = nullptr;
  }
  TItem** old = m_ppCel;
  Rebuild(m_nFiles - n, columns, [&](int r, int c) {
    return old[static_cast<long long>(r < pos ? r : r + n) * columns + c];
  });
}

void TTaula::EliminarColumnes(int pos, int n) {
  if (n <= 0) return;
  if (n >= m_nColumnes) {
    DestruirTaula();
    return;
  }
  if (pos < 0 || pos >= m_nColumnes) return;
  n = std::min(n, m_nColumnes - pos);
  const int columns = m_nColumnes;
  for (int r = 0; r < m_nFiles; ++r) {
    for (int c = pos; c < pos + n; ++c) {
      delete m_ppCel[static_cast<long long>(r) * columns + c];
      m_ppCel[static_cast<long long>(r) * columns + c] = nullptr;
    }
  }
  TItem** old = m_ppCel;
  Rebuild(m_nFiles, columns - n, [&](int r, int c) {
    return old[static_cast<long long>(r) * columns + (c < pos ? c : c + n)];
  });
}

TItem* TTaulaBool::_CrearItem(int, int) { return new TBool(m_nDefecte); }

int TTaulaBool::Get(int row, int column) const {
  const TItem* cell = GetItem(row, column);
  return cell != nullptr ? static_cast<const TBool*>(cell)->Get() : m_nDefecte;
}

void TTaulaBool::Set(int row, int column, int value) {
  if (auto* cell = static_cast<TBool*>(GetItem(row, column))) {
    cell->Set(value);
    return;
  }
  auto* cell = static_cast<TBool*>(_CrearItem(row, column));
  cell->Set(value);
  SetItem(cell, row, column);
}

void TTaulaBool::Swap(int row, int column) { static_cast<TBool*>(GetItem(row, column))->Swap(); }
