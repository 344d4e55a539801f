// The DDE handles that need no bus: the instances and their last errors, string
// handles, data handles and conversations. Every handle of the process is a number
// that is never reused, so a stale one finds nothing; all the tables are under one
// lock. The bus side (ddebus.cpp) makes the instances and the conversations.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <kwlib63/platform/dde.h>

namespace kwplat::dde {

// What the tables know of an instance. The bus side makes every instance as a
// type of its own derived from this one.
struct Instance {
  DWORD id = 0;
  PFNCALLBACK callback = nullptr;
  DWORD flags = 0;
  std::atomic<UINT> lastError{DMLERR_NO_ERROR};
};

// A conversation, seen from the client (`remote` is the server's number for it)
// or from the server.
struct Conversation {
  DWORD instance;
  std::string peer;  // the other side's unique bus name
  std::uint32_t remote;
  HSZ service;
  HSZ topic;
};

inline std::uintptr_t Key(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

// Null for a number that is not a live instance's.
std::shared_ptr<Instance> FindInstance(DWORD id);
// Gives `instance` the next number and lists it.
void AddInstance(const std::shared_ptr<Instance>& instance);
// Unlists the instance and drops its data handles and conversations.
void RemoveInstance(DWORD id);
// Sets the last error of the instance, if it is live.
void SetError(DWORD instance, UINT error);

// The handle of `text` (an existing one, whatever its case, counted once more).
HSZ AddAtom(const std::wstring& text);
// Counts a handle down, forgetting it at zero; false for a handle that is not one.
bool ReleaseAtom(HSZ handle);
bool AtomText(HSZ handle, std::wstring& text);

HDDEDATA NewData(DWORD instance, std::vector<BYTE> bytes, UINT format, HSZ item, bool appOwned);
// A copy of the handle's bytes; false for a handle that is not one.
bool DataBytes(HDDEDATA handle, std::vector<BYTE>& bytes, bool* appOwned = nullptr);

HCONV NewConversation(Conversation conversation);
bool FindConversation(HCONV handle, Conversation& conversation);
// Forgets a conversation and lets go of its names.
void DropConversation(HCONV handle);

}  // namespace kwplat::dde
