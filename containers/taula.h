// TTaula: a two-dimensional table of owned items, row by row, whose cells are
// made by an overridable factory. TTaulaBool: a table of truth values (TBool
// cells holding a default value). Cell coordinates are not checked.
//
// Copying a table from a reference shares its cells; the cells are counted, so
// they are deleted once, by the last table that holds them.
#pragma once

#include <kwlib63/core/item.h>
#include <kwlib63/framework/export.h>

class KW_API TTaula : public TItem {
 public:
  static CMoxelRTTI m_rttiTTaula;

  TTaula() = default;
  TTaula(const TTaula& other);
  TTaula& operator=(const TTaula& other);
  ~TTaula() override;

  CMoxelRTTI* GetRTTI() const override;
  int EsBuit() const override { return m_nFiles == 0 && m_nColumnes == 0 ? 1 : 0; }

  // A new table of rows x columns cells made by _CrearItem. Raises
  // CMemoryException when the cells cannot be allocated.
  void ConstruirTaula(int rows, int columns);
  // Deletes every cell and leaves an empty table.
  void DestruirTaula();

  TItem* GetItem(int row, int column) const;
  // Stores `item`, deleting the cell's former item unless it is `item`.
  void SetItem(TItem* item, int row, int column);
  int GetNumFiles() const { return m_nFiles; }
  int GetNumColumnes() const { return m_nColumnes; }

  // `n` new rows (columns) at `pos`; a position outside the table appends.
  void InsertarFiles(int pos, int n);
  void InsertarColumnes(int pos, int n);
  // Deletes `n` rows (columns) from `pos`. An `n` of at least the count empties the
  // table wherever `pos` is; otherwise a `pos` outside the table does nothing and a
  // stretch running past the end stops at the last row (column).
  void EliminarFiles(int pos, int n);
  void EliminarColumnes(int pos, int n);

 protected:
  // The factory of a new cell; the plain table's cells are null.
  virtual TItem* _CrearItem(int row, int column);

 private:
  // Makes a new cell array of rows x columns; `source(r, c)` gives the cell's
  // item, or a negative row to call the factory.
  template <typename Source>
  void Rebuild(int rows, int columns, Source&& source);
  void Drop();

  int m_nFiles = 0;
  int m_nColumnes = 0;
  TItem** m_ppCel = nullptr;
};

class KW_API TTaulaBool : public TTaula {
 public:
  explicit TTaulaBool(int defaultValue = 1) : m_nDefecte(defaultValue) {}

  // The cell's value, or the default for a null cell.
  int Get(int row, int column) const;
  // Makes the cell when it is null.
  void Set(int row, int column, int value);
  // Inverts the cell's value; the cell must exist.
  void Swap(int row, int column);

 protected:
  TItem* _CrearItem(int row, int column) override;

 private:
  int m_nDefecte;
};
