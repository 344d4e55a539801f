// CObject's run-time class records: what a record holds, kinds along the base
// chain and never down it, downcasts, and objects made from a record (null for a
// class without a factory or when memory runs out).
#include <new>

#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/object.h>

namespace {

class CShape : public CObject {
  DECLARE_DYNAMIC(CShape)
};
IMPLEMENT_DYNAMIC(CShape, CObject)

class CCircle : public CShape {
  DECLARE_DYNCREATE(CCircle)
 public:
  double radius = 2.5;
};
IMPLEMENT_DYNCREATE(CCircle, CShape)

class CSquare : public CShape {
  DECLARE_DYNCREATE(CSquare)
};
IMPLEMENT_DYNCREATE(CSquare, CShape)

// A class whose construction finds memory exhausted.
class CHungry : public CObject {
  DECLARE_DYNCREATE(CHungry)
 public:
  CHungry() { throw std::bad_alloc(); }
};
IMPLEMENT_DYNCREATE(CHungry, CObject)

TEST(RuntimeClass, ARecordHoldsTheNameSizeSchemaAndBase) {
  const CRuntimeClass* circle = RUNTIME_CLASS(CCircle);
  EXPECT_STREQ(circle->m_lpszClassName, "CCircle");
  EXPECT_EQ(circle->m_nObjectSize, static_cast<int>(sizeof(CCircle)));
  EXPECT_EQ(circle->m_wSchema, 0xFFFFu);
  EXPECT_EQ(circle->m_pfnGetBaseClass(), RUNTIME_CLASS(CShape));
  EXPECT_EQ(RUNTIME_CLASS(CShape)->m_pfnCreateObject, nullptr);
  EXPECT_EQ(CObject::_GetBaseClass(), nullptr);
  EXPECT_EQ(CFileException::_GetBaseClass(), RUNTIME_CLASS(CException));
  const CCircle object;
  const CObject& seen = object;
  EXPECT_EQ(seen.GetRuntimeClass(), circle);  // the object's own class, through its base
  CInvalidArgException e;
  EXPECT_STREQ(e.GetRuntimeClass()->m_lpszClassName, "CInvalidArgException");
}

TEST(RuntimeClass, KindFollowsTheBaseChainUpwardsOnly) {
  CCircle circle;
  CShape shape;
  CInvalidArgException invalid;
  const struct {
    const CObject* object;
    const CRuntimeClass* cls;
    BOOL kind;
  } cases[] = {
      {&circle, RUNTIME_CLASS(CCircle), TRUE},   {&circle, RUNTIME_CLASS(CShape), TRUE},
      {&circle, RUNTIME_CLASS(CObject), TRUE},   {&circle, RUNTIME_CLASS(CSquare), FALSE},
      {&shape, RUNTIME_CLASS(CCircle), FALSE},   {&shape, RUNTIME_CLASS(CShape), TRUE},
      {&circle, nullptr, FALSE},                 {&invalid, RUNTIME_CLASS(CInvalidArgException), TRUE},
      {&invalid, RUNTIME_CLASS(CException), TRUE}, {&invalid, RUNTIME_CLASS(CObject), TRUE},
      {&invalid, RUNTIME_CLASS(CMemoryException), FALSE},
  };
  for (const auto& c : cases) {
    const char* name = c.cls != nullptr ? c.cls->m_lpszClassName : "null";
    EXPECT_EQ(c.object->IsKindOf(c.cls), c.kind) << c.object->GetRuntimeClass()->m_lpszClassName << " of " << name;
    EXPECT_EQ(c.object->GetRuntimeClass()->IsDerivedFrom(c.cls), c.kind) << name;
  }
}

TEST(RuntimeClass, ADowncastGivesTheObjectOnlyWhenItIsOfTheClass) {
  CCircle circle;
  CSquare square;
  CShape* shape = &circle;
  EXPECT_EQ(DYNAMIC_DOWNCAST(CCircle, shape), &circle);
  EXPECT_EQ(DYNAMIC_DOWNCAST(CShape, static_cast<CObject*>(&square)), &square);
  EXPECT_EQ(DYNAMIC_DOWNCAST(CCircle, static_cast<CShape*>(&square)), nullptr);
  EXPECT_EQ(DYNAMIC_DOWNCAST(CCircle, static_cast<CObject*>(nullptr)), nullptr);
}

TEST(RuntimeClass, ARecordMakesADefaultObjectOrNothing) {
  CObject* made = RUNTIME_CLASS(CCircle)->CreateObject();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->GetRuntimeClass(), RUNTIME_CLASS(CCircle));
  EXPECT_EQ(static_cast<CCircle*>(made)->radius, 2.5);
  delete made;
  EXPECT_EQ(RUNTIME_CLASS(CShape)->CreateObject(), nullptr);      // no factory
  EXPECT_EQ(RUNTIME_CLASS(CException)->CreateObject(), nullptr);  // nor here
  EXPECT_EQ(RUNTIME_CLASS(CHungry)->CreateObject(), nullptr);     // memory exhausted
}

}  // namespace
