// Type records: ids, parents and the type tests that walk them.
#include <sys/mman.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include <kwlib63/core/item.h>
#include <kwlib63/core/valueitem.h>

namespace {

// A client class whose chain holds id 2000, the one AfxItemValid accepts.
class TClientItem : public TItem {
 public:
  static CMoxelRTTI m_rttiTClientItem;
  CMoxelRTTI* GetRTTI() const override { return &m_rttiTClientItem; }
};
CMoxelRTTI TClientItem::m_rttiTClientItem(&TItem::m_rttiTItem, "TClientItem", 2000, sizeof(TClientItem),
                                          [] { return static_cast<TItem*>(new TClientItem); });

TEST(TypeRecords, ValueItemsAnswerTheirIdsAndTheBase) {
  const TInt i;
  const TBool b;
  const TChar c;
  const TFloat f;
  const TDouble d;
  const TItemString s;
  const struct {
    const TItem* item;
    int id;
    const wchar_t* name;
  } cases[] = {{&i, 11, L"TInt"}, {&b, 10, L"TBool"}, {&c, 14, L"TChar"},
               {&f, 12, L"TFloat"}, {&d, 31, L"TDouble"}, {&s, 200, L"TItemString"}};
  for (const auto& c2 : cases) {
    EXPECT_EQ(c2.item->QueSoc(), c2.id) << c2.id;
    EXPECT_EQ(c2.item->EsTipus(c2.id), 1) << c2.id;
    EXPECT_EQ(c2.item->EsTipus(0), 1) << c2.id;  // every chain ends at TItem
    EXPECT_EQ(c2.item->EsTipus(&TInt::m_rttiTInt), c2.id == 11 ? 1 : 0) << c2.id;
    EXPECT_STREQ(c2.item->GetNomClasse(), c2.name);
    EXPECT_EQ(c2.item->GetRTTI()->m_pParent, &TItem::m_rttiTItem);
    EXPECT_EQ(c2.item->GetRTTI()->CrearItem(), nullptr);  // no library record has a factory
  }
  EXPECT_EQ(TItem::m_rttiTItem.m_pParent, nullptr);
  EXPECT_EQ(TItem::m_rttiTItem.m_nTipus, 0);
  EXPECT_EQ(TInt::m_rttiTInt.m_nMida, sizeof(TInt));
  EXPECT_EQ(TItemString::m_rttiTItemString.m_nMida, sizeof(TItemString));
  EXPECT_EQ(i.GetNomClasse(), TInt().GetNomClasse());  // one wide name per class, kept
}

TEST(TypeRecords, TestsCompareIdsNotRecords) {
  // A record of another class with the same id passes the test.
  const CMoxelRTTI sameId(&TItem::m_rttiTItem, "Other", 11, 8, nullptr);
  EXPECT_EQ(TInt().EsTipus(&sameId), 1);
  EXPECT_EQ(TInt().EsTipus(static_cast<const CMoxelRTTI*>(nullptr)), 0);
  const CMoxelRTTI child(&TInt::m_rttiTInt, "Child", 500, 8, nullptr);
  EXPECT_EQ(child.EsTipus(11), 1);
  EXPECT_EQ(child.EsTipus(500), 1);
  EXPECT_EQ(child.EsTipus(10), 0);
  CMoxelRTTI copy = child;
  copy = sameId;  // assignment copies all five fields
  EXPECT_EQ(copy.m_nTipus, 11);
  EXPECT_STREQ(copy.m_lpszClassName, "Other");
}

TEST(TypeRecords, DownCastByTypeId) {
  TInt i(4);
  EXPECT_EQ(AfxTestClasseItem(nullptr, &TItem::m_rttiTItem), nullptr);
  EXPECT_EQ(AfxTestClasseItem(&i, &TItem::m_rttiTItem), &i);
  EXPECT_EQ(AfxTestClasseItem(&i, &TInt::m_rttiTInt), &i);
  EXPECT_EQ(AfxTestClasseItem(&i, &TBool::m_rttiTBool), nullptr);
}

TEST(TypeRecords, ClientFactory) {
  TItem* made = TClientItem::m_rttiTClientItem.CrearItem();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->QueSoc(), 2000);
  delete made;
}

TEST(ItemBase, EverythingIsEqualAndHasNoStreamForm) {
  TItem a, b;
  EXPECT_EQ(a.Iguals(&b), 1);
  EXPECT_EQ(a.Comparar(&b), 0);
  EXPECT_EQ(a.EsBuit(), 0);
  EXPECT_EQ(a.Duplicar(), nullptr);
  EXPECT_EQ(a.Guardar(stdout), -2);
  EXPECT_EQ(a.Llegir(stdin), -2);
  EXPECT_STREQ(a.GetNomClasse(), L"TItem");
}

TEST(ItemValid, OnlyReadableItemsOfId2000Pass) {
  TInt i;
  EXPECT_EQ(AfxItemValid(&i), 0);  // no library class has id 2000
  EXPECT_EQ(AfxItemValid(nullptr), 0);
  TClientItem client;
  EXPECT_NE(AfxItemValid(&client), 0);

  const long page = sysconf(_SC_PAGESIZE);
  void* gone = mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(gone, MAP_FAILED);
  munmap(gone, page);
  EXPECT_EQ(AfxItemValid(static_cast<TItem*>(gone)), 0);

  // An item whose memory cannot be written fails before any virtual call.
  void* page2 = mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page2, MAP_FAILED);
  auto* frozen = new (page2) TClientItem;
  ASSERT_EQ(mprotect(page2, page, PROT_READ), 0);
  EXPECT_EQ(AfxItemValid(frozen), 0);
  munmap(page2, page);
}

}  // namespace
