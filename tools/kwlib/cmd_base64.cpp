// kwlib base64: encodes a file as Base64 text, or decodes such text.
#include <sys/stat.h>

#include <iostream>
#include <string>
#include <vector>

#include <kwlib63/persist/base64.h>

#include "command.h"
#include "dispatch.h"
#include "fileio.h"

namespace {

constexpr std::size_t kBlock = 3 << 18;  // a multiple of three and of four

int Failed(std::ostream& err, const std::string& file, const std::string& error) {
  err << "kwlib base64: " << file << ": " << error << "\n";
  return kwlib::kExitFailure;
}

// Base64 text decoded as it comes: blanks and line breaks dropped, whole groups of
// four characters decoded at once, the last group with its padding at the end.
// Without an output it only checks the text.
class Decoder {
 public:
  explicit Decoder(std::ostream* out) : m_out(out) {}

  void Add(const unsigned char* bytes, std::size_t n) {
    for (std::size_t i = 0; i < n && m_bad == 0; ++i) {
      const unsigned char c = bytes[i];
      if (c == '\n' || c == '\r' || c == ' ' || c == '\t') continue;
      ++m_position;
      if (c == '=') {
        ++m_padding;
      } else if (m_padding > 0 || !IsAlphabet(c)) {
        m_bad = m_position;  // only padding may follow the padding
      } else {
        m_group += static_cast<char>(c);
        ++m_characters;
      }
    }
    const std::size_t whole = m_group.size() / 4 * 4;
    if (m_padding == 0 && whole >= kBlock) Decode(whole);
  }

  // The text's end: a last group of one character holds no byte, and padding
  // beyond what completes the last group is no Base64; both are errors rather
  // than bytes silently dropped.
  void Finish() {
    if (m_bad != 0) return;
    const std::size_t last = m_characters % 4;
    if (last == 1 || m_padding > 2 || (m_padding > 0 && (last + m_padding) % 4 != 0)) {
      m_bad = m_position;
      return;
    }
    Decode(m_group.size());
  }

  std::size_t Bad() const { return m_bad; }

 private:
  static bool IsAlphabet(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
  }

  void Decode(std::size_t n) {
    std::string coded = m_group.substr(0, n);
    m_group.erase(0, n);
    if (m_out == nullptr || coded.empty()) return;
    std::string bytes(static_cast<std::size_t>(Base64decode_len(coded.c_str())), '\0');
    m_out->write(bytes.data(), Base64decode(bytes.data(), coded.c_str()));
  }

  std::ostream* m_out;
  std::string m_group;
  std::size_t m_position = 0;  // of the last character read, blanks left out
  std::size_t m_padding = 0;
  std::size_t m_characters = 0;  // of the alphabet, in all
  std::size_t m_bad = 0;  // the position of the first character that is not Base64
};

int NotBase64(std::ostream& err, const std::string& file, const Decoder& decoder) {
  err << "kwlib base64: " << file << ": not Base64 text (character " << decoder.Bad() << ")\n";
  return kwlib::kExitFailure;
}

int Code(const std::vector<std::string>& words, const kwlib::Call& call) {
  const std::string file = words.empty() ? "-" : words[0];
  std::string error;
  if (!(call.arguments.Has("-d") || call.arguments.Has("--decode"))) {
    // Whole groups of three bytes encode on their own; the rest waits for the next
    // block or the end.
    std::string pending, text;
    const auto encode = [&](const char* bytes, std::size_t n) {
      text.resize(static_cast<std::size_t>(Base64encode_len(static_cast<int>(n))));
      call.out.write(text.data(), Base64encode(text.data(), bytes, static_cast<int>(n)) - 1);
    };
    const bool read = kwlib::ReadBlocks(file, kBlock, [&](const unsigned char* bytes, std::size_t n) {
      pending.append(reinterpret_cast<const char*>(bytes), n);
      const std::size_t whole = pending.size() / 3 * 3;
      encode(pending.data(), whole);
      pending.erase(0, whole);
    }, error);
    if (!read) return Failed(call.err, file, error);
    encode(pending.data(), pending.size());
    call.out << "\n";
    return kwlib::kExitOk;
  }
  // A regular file is checked whole first, so that text that is not Base64 writes
  // nothing; standard input, a pipe or a device can be read once only, and is
  // decoded as it comes.
  struct stat info {};
  const bool regular = file != "-" && stat(file.c_str(), &info) == 0 && S_ISREG(info.st_mode);
  Decoder check(nullptr);
  if (regular && !kwlib::ReadBlocks(file, kBlock, [&](const unsigned char* b, std::size_t n) { check.Add(b, n); }, error)) {
    return Failed(call.err, file, error);
  }
  check.Finish();
  if (check.Bad()) return NotBase64(call.err, file, check);
  Decoder decoder(&call.out);
  if (!kwlib::ReadBlocks(file, kBlock, [&](const unsigned char* b, std::size_t n) { decoder.Add(b, n); }, error)) {
    return Failed(call.err, file, error);
  }
  decoder.Finish();
  return decoder.Bad() ? NotBase64(call.err, file, decoder) : kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {{{"", 0, 1, "kwlib base64 [-d|--decode] [FILE]"}, &Code}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"-d", "--decode"}, .dashWords = false}, out, err);
}

}  // namespace

KWLIB_COMMAND(kBase64, "base64", "encode or decode Base64", kwlib::SyntaxOf(kTable),
              "\n"
              "Encodes FILE (default: standard input) as Base64 text on one line, or with\n"
              "-d decodes Base64 text (line breaks, tabs and spaces are ignored; any other\n"
              "character outside the alphabet, other than the closing padding '=', a last\n"
              "group of one character and padding beyond the last group are errors with exit\n"
              "status 1: for a file nothing is written, standard input is decoded as it comes\n"
              "and stops there). Both stream in blocks.\n",
              &Run);
