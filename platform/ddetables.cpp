// The DDE tables (ddetables.h) and the calls of dde.h that only read or change
// them: last errors, string handles and data handles.
#include "ddetables.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <map>
#include <mutex>

#include <kwlib63/framework/casefold.h>

namespace kwplat {
namespace dde {
namespace {

struct Atom {
  std::wstring text;
  int count = 0;
};

struct Data {
  DWORD instance;
  std::vector<BYTE> bytes;
  UINT format;
  HSZ item;
  bool appOwned;
};

std::mutex g_lock;  // guards everything below
std::map<DWORD, std::shared_ptr<Instance>> g_instances;
std::map<std::uintptr_t, Atom> g_atoms;
std::map<std::wstring, std::uintptr_t> g_atomsByText;  // folded text
std::map<std::uintptr_t, Data> g_data;
std::map<std::uintptr_t, Conversation> g_conversations;
DWORD g_nextInstance = 0;
std::uintptr_t g_nextHandle = 0xC000;

}  // namespace

std::shared_ptr<Instance> FindInstance(DWORD id) {
  std::lock_guard guard(g_lock);
  const auto found = g_instances.find(id);
  return found != g_instances.end() ? found->second : nullptr;
}

void AddInstance(const std::shared_ptr<Instance>& instance) {
  std::lock_guard guard(g_lock);
  instance->id = ++g_nextInstance;
  g_instances[instance->id] = instance;
}

void RemoveInstance(DWORD id) {
  std::vector<HCONV> conversations;
  std::vector<std::uintptr_t> data;
  {
    std::lock_guard guard(g_lock);
    for (const auto& [key, conversation] : g_conversations) {
      if (conversation.instance == id) conversations.push_back(reinterpret_cast<HCONV>(key));
    }
    for (const auto& [key, item] : g_data) {
      if (item.instance == id) data.push_back(key);
    }
    for (std::uintptr_t key : data) g_data.erase(key);
    g_instances.erase(id);
  }
  for (HCONV conversation : conversations) DropConversation(conversation);
}

void SetError(DWORD instance, UINT error) {
  if (std::shared_ptr<Instance> found = FindInstance(instance)) found->lastError = error;
}

HSZ AddAtom(const std::wstring& text) {
  std::lock_guard guard(g_lock);
  const std::wstring folded = kwfw::FoldCase(text);
  auto found = g_atomsByText.find(folded);
  if (found == g_atomsByText.end()) {
    found = g_atomsByText.emplace(folded, g_nextHandle++).first;
    g_atoms[found->second].text = text;
  }
  ++g_atoms[found->second].count;
  return reinterpret_cast<HSZ>(found->second);
}

bool ReleaseAtom(HSZ handle) {
  std::lock_guard guard(g_lock);
  const auto found = g_atoms.find(Key(handle));
  if (found == g_atoms.end()) return false;
  if (--found->second.count == 0) {
    g_atomsByText.erase(kwfw::FoldCase(found->second.text));
    g_atoms.erase(found);
  }
  return true;
}

bool AtomText(HSZ handle, std::wstring& text) {
  std::lock_guard guard(g_lock);
  const auto found = g_atoms.find(Key(handle));
  if (found == g_atoms.end()) return false;
  text = found->second.text;
  return true;
}

HDDEDATA NewData(DWORD instance, std::vector<BYTE> bytes, UINT format, HSZ item, bool appOwned) {
  std::lock_guard guard(g_lock);
  const std::uintptr_t key = g_nextHandle++;
  g_data.emplace(key, Data{instance, std::move(bytes), format, item, appOwned});
  return reinterpret_cast<HDDEDATA>(key);
}

bool DataBytes(HDDEDATA handle, std::vector<BYTE>& bytes, bool* appOwned) {
  std::lock_guard guard(g_lock);
  const auto found = g_data.find(Key(handle));
  if (found == g_data.end()) return false;
  bytes = found->second.bytes;
  if (appOwned != nullptr) *appOwned = found->second.appOwned;
  return true;
}

HCONV NewConversation(Conversation conversation) {
  std::lock_guard guard(g_lock);
  const std::uintptr_t key = g_nextHandle++;
  g_conversations.emplace(key, std::move(conversation));
  return reinterpret_cast<HCONV>(key);
}

bool FindConversation(HCONV handle, Conversation& conversation) {
  std::lock_guard guard(g_lock);
  const auto found = g_conversations.find(Key(handle));
  if (found == g_conversations.end()) return false;
  conversation = found->second;
  return true;
}

void DropConversation(HCONV handle) {
  Conversation conversation;
  {
    std::lock_guard guard(g_lock);
    const auto found = g_conversations.find(Key(handle));
    if (found == g_conversations.end()) return;
    conversation = found->second;
    g_conversations.erase(found);
  }
  ReleaseAtom(conversation.service);
  ReleaseAtom(conversation.topic);
}

}  // namespace dde

using namespace dde;

UINT DdeGetLastError(DWORD id) {
  const std::shared_ptr<Instance> instance = FindInstance(id);
  return instance != nullptr ? instance->lastError.exchange(DMLERR_NO_ERROR) : DMLERR_DLL_NOT_INITIALIZED;
}

HSZ DdeCreateStringHandleW(DWORD id, LPCWSTR text, int codePage) {
  if (FindInstance(id) == nullptr) return nullptr;
  if (text == nullptr || (codePage != 0 && codePage != CP_WINANSI && codePage != CP_WINUNICODE)) {
    SetError(id, DMLERR_INVALIDPARAMETER);
    return nullptr;
  }
  // As in DDE, an empty text has no handle.
  return *text == L'\0' ? nullptr : AddAtom(text);
}

BOOL DdeFreeStringHandle(DWORD id, HSZ handle) {
  if (FindInstance(id) == nullptr) return FALSE;
  return ReleaseAtom(handle) ? TRUE : FALSE;
}

BOOL DdeKeepStringHandle(DWORD id, HSZ handle) {
  std::wstring text;
  if (FindInstance(id) == nullptr || !AtomText(handle, text)) return FALSE;
  AddAtom(text);
  return TRUE;
}

DWORD DdeQueryStringW(DWORD id, HSZ handle, LPWSTR text, DWORD size, int) {
  std::wstring value;
  if (FindInstance(id) == nullptr || !AtomText(handle, value)) return 0;
  if (text != nullptr && size > 0) {
    const std::size_t n = std::min<std::size_t>(value.size(), size - 1);
    std::wmemcpy(text, value.c_str(), n);
    text[n] = L'\0';
  }
  return static_cast<DWORD>(value.size());
}

int DdeCmpStringHandles(HSZ a, HSZ b) { return Key(a) < Key(b) ? -1 : Key(a) > Key(b) ? 1 : 0; }

HDDEDATA DdeCreateDataHandle(DWORD id, LPBYTE source, DWORD size, DWORD offset, HSZ item, UINT format, UINT command) {
  if (FindInstance(id) == nullptr) return nullptr;
  std::vector<BYTE> bytes(static_cast<std::size_t>(offset) + size);
  if (source != nullptr) std::memcpy(bytes.data() + offset, source, size);
  return NewData(id, std::move(bytes), format, item, (command & HDATA_APPOWNED) != 0);
}

DWORD DdeGetData(HDDEDATA handle, LPBYTE destination, DWORD size, DWORD offset) {
  std::vector<BYTE> bytes;
  if (!DataBytes(handle, bytes) || offset > bytes.size()) return 0;
  const std::size_t available = bytes.size() - offset;
  if (destination == nullptr) return static_cast<DWORD>(available);
  const std::size_t n = std::min<std::size_t>(available, size);
  std::memcpy(destination, bytes.data() + offset, n);
  return static_cast<DWORD>(n);
}

LPBYTE DdeAccessData(HDDEDATA handle, LPDWORD size) {
  std::lock_guard guard(g_lock);
  const auto found = g_data.find(Key(handle));
  if (found == g_data.end()) return nullptr;
  if (size != nullptr) *size = static_cast<DWORD>(found->second.bytes.size());
  // The bytes stay where they are until the handle is freed.
  return found->second.bytes.data();
}

BOOL DdeUnaccessData(HDDEDATA handle) {
  std::lock_guard guard(g_lock);
  return g_data.count(Key(handle)) != 0 ? TRUE : FALSE;
}

BOOL DdeFreeDataHandle(HDDEDATA handle) {
  std::lock_guard guard(g_lock);
  return g_data.erase(Key(handle)) != 0 ? TRUE : FALSE;
}

}  // namespace kwplat
