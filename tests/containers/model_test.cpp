// Thousands of random operations on the containers, checked after each one
// against a plain std::vector model. Fixed seed: a failure repeats.
#include <algorithm>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/containers/crosslist.h>
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

std::vector<int> Values(const TCrossList& l) {
  std::vector<int> v;
  TCrossNode* n = l.GetFirst();
  for (int i = 0; i < l.Cnt(); ++i, n = n->GetNext()) v.push_back(static_cast<TInt*>(n->GetItem())->Get());
  return v;
}

TEST(Model, CrossListAgainstVector) {
  std::mt19937 rng(99);
  Counted::live = 0;
  {
    TCrossList list;
    std::vector<int> model;
    std::vector<TItem*> items;  // the model's items, for look-ups by item
    for (int step = 0; step < 4000; ++step) {
      const int op = static_cast<int>(rng() % 8);
      const int value = static_cast<int>(rng() % 100);
      const int n = static_cast<int>(model.size());
      const int at = n > 0 ? static_cast<int>(rng() % static_cast<unsigned>(n)) : 0;
      if (op <= 1 || n == 0) {
        auto* item = new Counted(value);
        list.InsertLast(item);
        model.push_back(value);
        items.push_back(item);
      } else if (op == 2) {
        auto* item = new Counted(value);
        list.InsertBefore(item, items[static_cast<std::size_t>(at)]);
        model.insert(model.begin() + at, value);
        items.insert(items.begin() + at, item);
      } else if (op == 3) {
        list.Remove(list.GetNode(items[static_cast<std::size_t>(at)]));
        model.erase(model.begin() + at);
        items.erase(items.begin() + at);
      } else if (op == 4) {
        list.Reverse();
        std::reverse(model.begin(), model.end());
        std::reverse(items.begin(), items.end());
      } else if (op == 5) {
        list.Sort(kwtest::ByValue, 0, nullptr);
        // Gathered from the first, ties reversed: a stable sort of the reverse.
        std::vector<std::pair<int, TItem*>> pairs;
        for (int i = n - 1; i >= 0; --i) pairs.push_back({model[static_cast<std::size_t>(i)], items[static_cast<std::size_t>(i)]});
        std::stable_sort(pairs.begin(), pairs.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
        for (int i = 0; i < n; ++i) model[static_cast<std::size_t>(i)] = pairs[static_cast<std::size_t>(i)].first, items[static_cast<std::size_t>(i)] = pairs[static_cast<std::size_t>(i)].second;
      } else if (op == 6) {
        auto* item = new Counted(value);
        const bool wasSorted = list.IsSorted() != 0;  // the list's own flag decides
        list.AddOrderedElem(item);
        if (!wasSorted) {
          // Sort() first: ties reversed.
          std::vector<std::pair<int, TItem*>> pairs;
          for (int i = n - 1; i >= 0; --i) pairs.push_back({model[static_cast<std::size_t>(i)], items[static_cast<std::size_t>(i)]});
          std::stable_sort(pairs.begin(), pairs.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
          for (int i = 0; i < n; ++i) model[static_cast<std::size_t>(i)] = pairs[static_cast<std::size_t>(i)].first, items[static_cast<std::size_t>(i)] = pairs[static_cast<std::size_t>(i)].second;
        }
        const auto pos = std::upper_bound(model.begin(), model.end(), value) - model.begin();
        model.insert(model.begin() + pos, value);
        items.insert(items.begin() + pos, item);
      } else {
        const int other = static_cast<int>(rng() % static_cast<unsigned>(n));
        if (other != at) {
          list.ExChangePositions(list.GetNode(items[static_cast<std::size_t>(at)]), list.GetNode(items[static_cast<std::size_t>(other)]));
          std::swap(model[static_cast<std::size_t>(at)], model[static_cast<std::size_t>(other)]);
          std::swap(items[static_cast<std::size_t>(at)], items[static_cast<std::size_t>(other)]);
        }
      }
      if (Values(list) != model) {
        std::string a, b;
        for (int v : Values(list)) a += std::to_string(v) + " ";
        for (int v : model) b += std::to_string(v) + " ";
        FAIL() << "step " << step << " op " << op << "\nlist  " << a << "\nmodel " << b;
      }
      ASSERT_EQ(list.Cnt(), static_cast<int>(model.size()));
      ASSERT_EQ(Counted::live, static_cast<int>(model.size()));
      TCrossNode* node = list.GetFirst();
      for (std::size_t i = 0; i < items.size(); ++i, node = node->GetNext()) {
        ASSERT_EQ(node->GetItem(), items[i]) << "step " << step << " op " << op << " at " << i;  // equal items too
        ASSERT_EQ(list.GetNode(items[i]), node);
      }
    }
  }
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
