#include <kwlib63/framework/object.h>

#include <new>

#include <kwlib63/framework/dumpcontext.h>

const CRuntimeClass CObject::classCObject = {"CObject", int(sizeof(CObject)), 0xFFFF, nullptr, &CObject::_GetBaseClass};

CRuntimeClass* CObject::GetThisClass() { return const_cast<CRuntimeClass*>(&CObject::classCObject); }
CRuntimeClass* CObject::GetRuntimeClass() const { return GetThisClass(); }

void CObject::Dump(CDumpContext& dc) const {
  dc << "a " << GetRuntimeClass()->m_lpszClassName << " at " << static_cast<const void*>(this) << "\n";
}

BOOL CObject::IsKindOf(const CRuntimeClass* cls) const { return GetRuntimeClass()->IsDerivedFrom(cls); }

CObject* CRuntimeClass::CreateObject() const {
  if (m_pfnCreateObject == nullptr) return nullptr;
  try {
    return m_pfnCreateObject();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* base) const {
  for (const CRuntimeClass* c = this; c != nullptr; c = c->m_pfnGetBaseClass ? c->m_pfnGetBaseClass() : nullptr) {
    if (c == base) return TRUE;
  }
  return FALSE;
}

CObject* AfxDynamicDownCast(const CRuntimeClass* cls, CObject* object) {
  return object != nullptr && object->IsKindOf(cls) ? object : nullptr;
}
