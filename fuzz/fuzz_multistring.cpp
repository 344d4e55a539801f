// Multi-string buffers from arbitrary text: the list read from a buffer holds the
// strings up to the first empty one, rebuilding it from those strings gives the
// same buffer, and removals and look-ups agree with the list.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <kwlib63/settings/multistring.h>

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Each byte a character; bytes 0 are the terminators. Two more close any buffer.
  std::vector<wchar_t> buffer(data, data + size);
  buffer.push_back(0);
  buffer.push_back(0);

  // The model: strings up to the first empty one.
  std::vector<std::wstring> model;
  for (std::size_t pos = 0; buffer[pos] != 0;) {
    model.emplace_back(&buffer[pos]);
    pos += model.back().size() + 1;
  }

  CMultiString m(buffer.data());
  Check(m.GetNumStr() == static_cast<int>(model.size()));
  for (int i = 0; i < m.GetNumStr(); ++i) Check(model[static_cast<std::size_t>(i)] == m[i]);
  CArray<int, int> index;
  Check(CMultiString::analitzarCadena(buffer.data(), index) == m.GetMidaBuffer());

  std::vector<const wchar_t*> parts;
  for (const std::wstring& s : model) parts.push_back(s.c_str());
  CMultiString rebuilt(parts.data(), static_cast<int>(parts.size()));
  Check(rebuilt.GetNumStr() == m.GetNumStr() && rebuilt.GetMidaBuffer() == m.GetMidaBuffer());
  Check(std::wstring(static_cast<const wchar_t*>(rebuilt), static_cast<std::size_t>(rebuilt.GetMidaBuffer())) ==
        std::wstring(static_cast<const wchar_t*>(m), static_cast<std::size_t>(m.GetMidaBuffer())));

  if (!model.empty()) {
    const std::size_t k = data[0] % model.size();
    Check(m.Buscar(model[k].c_str()) >= 0 && m.Buscar(model[k].c_str()) <= static_cast<int>(k));
    m.Treure(static_cast<int>(k));
    model.erase(model.begin() + static_cast<long>(k));
    Check(m.GetNumStr() == static_cast<int>(model.size()));
    for (int i = 0; i < m.GetNumStr(); ++i) Check(model[static_cast<std::size_t>(i)] == m[i]);
  }
  m += L"tail";
  Check(std::wstring(m[m.GetNumStr() - 1]) == L"tail");
  return 0;
}
