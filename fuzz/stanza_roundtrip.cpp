// zbase: fuzzes the stanza reader and writer. Whatever the reader accepts,
// the writer writes; reading that back gives the same data, and writing it
// again gives the same bytes.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Z/ZException.h"
#include "Z/ZStanzaFileProperties.h"
#include "fuzz_support.h"

namespace {

void read(ZSCFData& cache, const std::string& text) {
  FILE* f = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
  if (text.empty()) f = std::fopen("/dev/null", "r");
  if (f == nullptr) abort();
  try {
    cache.be_read("/etc/app/app.conf", f);
  } catch (...) {
    std::fclose(f);
    throw;
  }
  std::fclose(f);
}

// `write` is the file's text; `dump` lists the data in map order.
std::string out(ZSCFData& cache, bool dump) {
  char* data = nullptr;
  size_t size = 0;
  FILE* f = open_memstream(&data, &size);
  if (dump) {
    cache.list(f);
  } else {
    cache.be_write("/etc/app/app.conf", f);
  }
  std::fclose(f);
  std::string s(data, size);
  std::free(data);
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool keepComments = data[0] & 1;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  ZSCFData first;
  if (keepComments) first.setAttributes(1, nullptr);
  try {
    read(first, text);
  } catch (const ZPropertiesInvalidDataException&) {
    return 0;
  }
  const std::string written = out(first, false);
  ZSCFData second;
  if (keepComments) second.setAttributes(1, nullptr);
  try {
    read(second, written);
  } catch (const ZPropertiesInvalidDataException&) {
    fuzz::fail("the written text does not read back", text, written);
  }
  if (out(first, true) != out(second, true)) {
    fuzz::fail("the data differs after a round trip", out(first, true), out(second, true));
  }
  if (out(second, false) != written)
    fuzz::fail("the second text differs", written, out(second, false));
  if (first.name != second.name)
    fuzz::fail("the side file name differs", first.name.getChars(), second.name.getChars());
  return 0;
}
