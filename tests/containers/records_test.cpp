// Every container's record kind, which the model walks never look at, and the
// kind of the copy of those whose copy keeps it.
#include <memory>
#include <gtest/gtest.h>

#include <kwlib63/containers/arbre.h>
#include <kwlib63/containers/crosslist.h>
#include <kwlib63/containers/hash.h>
#include <kwlib63/containers/llistacircular.h>
#include <kwlib63/containers/pila.h>
#include <kwlib63/containers/taula.h>
#include <kwlib63/core/valueitem.h>

namespace {

TEST(ContainerRecords, EveryContainerReportsItsKind) {
  TInt one(1);
  const struct {
    const char* name;
    std::unique_ptr<TItem> item;
    int kind;
    bool copyKeepsIt;
  } cases[] = {
      {"TLlista", std::make_unique<TLlista>(), 2, true},
      {"TLlistaOrdenada", std::make_unique<TLlistaOrdenada>(), 2, true},
      {"TLlistaCircular", std::make_unique<TLlistaCircular>(), 8, false},
      {"TPila", std::make_unique<TPila>(), 5, true},
      {"TPilaLimitada", std::make_unique<TPilaLimitada>(2), 5, false},
      {"TCrossList", std::make_unique<TCrossList>(), 8, false},
      {"TCircularCrossList", std::make_unique<TCircularCrossList>(), 9, true},
      {"THash", std::make_unique<THash>(), 1, false},
      {"THashItem", std::make_unique<THashItem>(L"k", &one), 20, false},
      {"TArbre", std::make_unique<TArbre>(new TInt(0), 1), 7, false},
      {"TTaulaBool", std::make_unique<TTaulaBool>(0), 6, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.item->QueSoc(), c.kind) << c.name;
    if (c.copyKeepsIt) {
      const std::unique_ptr<TItem> copy(c.item->Duplicar());
      EXPECT_EQ(copy->QueSoc(), c.kind) << c.name;
    }
  }
  EXPECT_STREQ(TLlistaOrdenada().GetNomClasse(), L"TLlista");
  EXPECT_EQ(TLlista().EsBuit(), 1);
  EXPECT_EQ(TPila().EsTipus(2), 1);               // a list
  EXPECT_EQ(TCircularCrossList().EsTipus(8), 0);  // the ring's parent record is TItem's
}

}  // namespace
