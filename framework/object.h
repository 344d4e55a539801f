// CObject and the framework's run-time class records: a class declared dynamic
// answers GetRuntimeClass and IsKindOf; one declared dyncreate can also be made
// from its record.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class CObject;
class CDumpContext;

struct KW_API CRuntimeClass {
  LPCSTR m_lpszClassName;
  int m_nObjectSize;
  UINT m_wSchema;
  CObject* (*m_pfnCreateObject)();
  CRuntimeClass* (*m_pfnGetBaseClass)();

  // A new default object of the class, or null when the class cannot be created
  // (no factory) or memory is exhausted.
  CObject* CreateObject() const;
  // Whether this class is `base` or derives from it.
  BOOL IsDerivedFrom(const CRuntimeClass* base) const;
};

#define RUNTIME_CLASS(class_name) (class_name::GetThisClass())

#define DECLARE_DYNAMIC(class_name)                    \
 public:                                               \
  static CRuntimeClass* _GetBaseClass();               \
  static const CRuntimeClass class##class_name;        \
  static CRuntimeClass* GetThisClass();                \
  CRuntimeClass* GetRuntimeClass() const override;

#define DECLARE_DYNCREATE(class_name) \
  DECLARE_DYNAMIC(class_name)         \
  static CObject* CreateObject();

#define KW_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, schema, pfnNew)                            \
  CRuntimeClass* class_name::_GetBaseClass() { return RUNTIME_CLASS(base_class_name); }                     \
  const CRuntimeClass class_name::class##class_name = {#class_name, int(sizeof(class_name)), schema, pfnNew, \
                                                       &class_name::_GetBaseClass};                         \
  CRuntimeClass* class_name::GetThisClass() { return const_cast<CRuntimeClass*>(&class_name::class##class_name); } \
  CRuntimeClass* class_name::GetRuntimeClass() const { return RUNTIME_CLASS(class_name); }

#define IMPLEMENT_DYNAMIC(class_name, base_class_name) \
  KW_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, nullptr)

#define IMPLEMENT_DYNCREATE(class_name, base_class_name)               \
  CObject* class_name::CreateObject() { return new class_name; }      \
  KW_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, 0xFFFF, &class_name::CreateObject)

// `object` as a `class_name`* when it is of that class or derived from it, else null.
#define DYNAMIC_DOWNCAST(class_name, object) \
  (static_cast<class_name*>(AfxDynamicDownCast(RUNTIME_CLASS(class_name), object)))
KW_API CObject* AfxDynamicDownCast(const CRuntimeClass* cls, CObject* object);

class KW_API CObject {
 public:
  virtual CRuntimeClass* GetRuntimeClass() const;
  virtual ~CObject() = default;
  virtual void AssertValid() const {}
  virtual void Dump(CDumpContext& dc) const;

  BOOL IsKindOf(const CRuntimeClass* cls) const;

  static const CRuntimeClass classCObject;
  static CRuntimeClass* GetThisClass();
  static CRuntimeClass* _GetBaseClass() { return nullptr; }

 protected:
  constexpr CObject() = default;
  CObject(const CObject&) = default;
  CObject& operator=(const CObject&) = default;
};
