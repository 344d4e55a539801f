// Functions that moved from the library into its headers, to be inlined, are still
// exported: a client built when they were out of line calls them by these names.
#include <dlfcn.h>

#include <gtest/gtest.h>

TEST(Exports, InlinedFunctionsKeepTheirSymbols) {
  // This binary links the library, so the default search reaches its exports.
  for (const char* name : {
           "_ZN16CCriticalSection4LockEj",                                  // CCriticalSection::Lock(DWORD)
           "_ZN16CCriticalSection6UnlockEv",                                // CCriticalSection::Unlock()
           "_ZN11TSerializer11WriteRecordEPvmm",                            // TSerializer::WriteRecord
           "_ZN11TSerializer10ReadRecordEPvmP15TIndicadorEstat",            // TSerializer::ReadRecord
           "_ZN11TSerializer10NextRecordER16SER_RECORDHEADERsP15TIndicadorEstat",  // TSerializer::NextRecord
           "_ZN11CFileBuffer7ReserveEm",  // CFileBuffer::Reserve(unsigned long), called by 6.3.0's inline writes
       }) {
    EXPECT_NE(dlsym(RTLD_DEFAULT, name), nullptr) << name;
  }
}
