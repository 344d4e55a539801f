// Thousands of random operations on the containers, checked after each one
// against a plain std::vector model. Fixed seed: a failure repeats.
#include <algorithm>
#include <random>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/llista.h>

#include "counted.h"

namespace {

using kwtest::Counted;

std::vector<int> Values(const TLlista& l) {
  std::vector<int> v;
  for (int i = 0; i < l.Cnt(); ++i) v.push_back(static_cast<TInt*>(l.GetItem(i))->Get());
  return v;
}

TEST(Model, LlistaAgainstVector) {
  std::mt19937 rng(20261122);
  Counted::live = 0;
  {
    TLlista list;
    std::vector<int> model;
    const auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    for (int step = 0; step < 5000; ++step) {
      const int op = pick(9);
      const int value = pick(50);
      const int n = static_cast<int>(model.size());
      if (op <= 2 || n == 0) {
        list.Afegir(new Counted(value));
        model.push_back(value);
      } else if (op == 3) {
        const int pos = pick(n + 6) - 3;  // also outside the list: clamped
        list.Insertar(new Counted(value), pos);
        model.insert(model.begin() + std::clamp(pos, 0, n), value);
      } else if (op == 4) {
        const int pos = pick(n);
        list.Eliminar(pos);
        model.erase(model.begin() + pos);
      } else if (op == 5) {
        const int pos = pick(n);
        delete list.Treure(pos);
        model.erase(model.begin() + pos);
      } else if (op == 6) {
        list.Invertir();
        std::reverse(model.begin(), model.end());
      } else if (op == 7) {
        list.Ordenar(kwtest::ByValue);
        std::stable_sort(model.begin(), model.end());
      } else {
        const int pos = pick(n);
        delete list.Canviar(new Counted(value), pos);
        model[static_cast<std::size_t>(pos)] = value;
      }
      ASSERT_EQ(Values(list), model) << "step " << step << " op " << op;
      ASSERT_EQ(Counted::live, static_cast<int>(model.size())) << "step " << step;
      ASSERT_GE(list.GetCapacitat(), list.Cnt());
    }
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST(Model, SortedListAgainstVector) {
  std::mt19937 rng(7);
  for (int duplicates : {0, 1}) {
    TLlistaOrdenada list(duplicates);
    std::vector<int> model;
    for (int step = 0; step < 3000; ++step) {
      const int value = static_cast<int>(rng() % 200);
      if (rng() % 4 == 0 && !model.empty()) {
        const int pos = static_cast<int>(rng() % model.size());
        list.Eliminar(pos);
        model.erase(model.begin() + pos);
      } else {
        list.Afegir(new TInt(value));
        const auto at = std::lower_bound(model.begin(), model.end(), value);
        if (at != model.end() && *at == value && !duplicates) continue;
        model.insert(at, value);
      }
      ASSERT_EQ(Values(list), model) << "step " << step << " duplicates " << duplicates;
      TInt probe(value);
      const int found = list.BuscarItem(&probe);
      ASSERT_EQ(found >= 0, std::binary_search(model.begin(), model.end(), value));
      if (found >= 0) {
        ASSERT_EQ(model[static_cast<std::size_t>(found)], value);
      }
    }
  }
}

}  // namespace
