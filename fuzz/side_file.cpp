// zbase: fuzzes the side data of hidden values, raw and behind valid
// compression. Whatever unpacks, packs again and unpacks to the same values;
// whatever does not is refused whole.
#include <cstdlib>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZSqueeze.h"
#include "Z/ZStanzaFileProperties.h"
#include "fuzz_support.h"

namespace {

// Every hidden value as "stanza/key=value" lines, in the order of the marks.
std::string hidden(const ZSCFData& cache) {
  std::string s;
  for (unsigned int i = 0; i < cache.obfuscatedItems.size(); ++i) {
    const ZObfuscatedItem* item = static_cast<const ZObfuscatedItem*>(cache.obfuscatedItems.get(i));
    const ZArrayList* values =
        cache.get(item->stanza.getChars(), item->key.getChars(), ZPCache::GET_OBFUSCATED);
    for (unsigned int v = 0; values != nullptr && v < values->size(); ++v) {
      s += std::string(item->stanza.getChars()) + "/" + item->key.getChars() + "=" +
           static_cast<const ZLCString*>(values->get(v))->getChars() + "\n";
    }
  }
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  ZBuffer packed;
  if (data[0] & 1) {
    packed.setBuffer(size - 1, const_cast<uint8_t*>(data) + 1);  // raw bytes
  } else {
    ZSqueeze squeeze;
    squeeze.setSource(data + 1, size - 1);
    std::vector<char> out(2 * size + 64);
    long n = squeeze.squeeze(out.data(), out.size());
    if (n < 0) fuzz::fail("squeeze failed with room to spare");
    packed.setBuffer(static_cast<unsigned long>(n), out.data());
  }
  ZSCFData first;
  first.name = "/etc/app.conf.obf";
  try {
    first.be_read_obfuscated(packed);
  } catch (const ZPropertiesInvalidDataException&) {
    if (first.count() != 0) fuzz::fail("refused side data left values behind");
    return 0;
  }
  ZBuffer again;
  first.be_write_obfuscated(again);
  ZSCFData second;
  if (again.getLength() != 0) second.be_read_obfuscated(again);
  if (hidden(first) != hidden(second))
    fuzz::fail("hidden values differ", hidden(first), hidden(second));
  return 0;
}
