// zbase: fuzzes random edits of a stanza file against a model of what it
// must hold. Every edit the object accepts shows in its getters as the model
// says; a store either is refused and leaves the files as they were, or
// reloads as the same data and stores again byte for byte.
#include <unistd.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Z/ZException.h"
#include "Z/ZStanzaFileProperties.h"
#include "fuzz_support.h"

namespace {

struct Key {
  std::vector<std::string> values;
  bool hidden = false;
  // False for a key read from the side file alone: it has no line in the
  // text, so emptying it drops it at the next store (deliberate).
  bool hasLine = true;
};
using Model = std::map<std::string, std::map<std::string, Key>>;

const char kSideStanza[] = "configuration-database";  // the store's own

std::string noZero(std::string s) { return s.substr(0, s.find('\0')); }

std::string name(fuzz::Input& in, const char* const* pool) {
  unsigned choice = in.pick(8);
  return choice < 3 ? pool[choice] : choice < 7 ? pool[0] : noZero(in.text(5));
}

std::string value(fuzz::Input& in) {
  static const char* const pool[] = {"1", "two words", "a = b", "#x", "", "[s]"};
  unsigned choice = in.pick(10);
  return choice < 6 ? pool[choice] : noZero(in.text(10));
}

// The data as the getters show it, in a stable order.
std::string shown(ZStanzaFileProperties& p) {
  ZArrayList stanzas(4, 1), keys(4, 1), values(4, 1);
  p.keyNames(stanzas);
  std::map<std::string, std::map<std::string, std::string>> all;
  for (unsigned int i = 0; i < stanzas.size(); ++i) {
    const char* s = static_cast<const ZLCString*>(stanzas.get(i))->getChars();
    if (std::string(s) == kSideStanza) continue;
    auto& out = all[s];
    p.getKeys(s, keys);
    for (unsigned int j = 0; j < keys.size(); ++j) {
      const char* k = static_cast<const ZLCString*>(keys.get(j))->getChars();
      std::string text = p.isObfuscated(s, k) ? "hidden:" : "plain:";
      p.getValues(s, k, values, ZPROP_STRING_LOCAL);
      for (unsigned int v = 0; v < values.size(); ++v) {
        text += std::string(static_cast<const ZLCString*>(values.get(v))->getChars()) + "|";
      }
      out[k] = text;
    }
  }
  std::string s;
  for (auto& st : all) {
    s += "[" + st.first + "]\n";
    for (auto& k : st.second) s += k.first + " " + k.second + "\n";
  }
  return s;
}

std::string shown(const Model& m) {
  std::string s;
  for (auto& st : m) {
    s += "[" + st.first + "]\n";
    for (auto& k : st.second) {
      s += k.first + (k.second.hidden ? " hidden:" : " plain:");
      for (auto& v : k.second.values) s += v + "|";
      s += "\n";
    }
  }
  return s;
}

// What a load of the stored files gives.
Model reloaded(const Model& m) {
  Model out = m;
  for (auto& st : out) {
    for (auto k = st.second.begin(); k != st.second.end();) {
      if (k->second.values.empty() && !k->second.hasLine) {
        k = st.second.erase(k);
      } else {
        k->second.hasLine = !k->second.hidden;
        ++k;
      }
    }
  }
  return out;
}

template <typename F>
bool refused(F f) {
  try {
    f();
    return false;
  } catch (const ZInvalidParameterException&) {
    return true;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const char* const stanzas[] = {"a", "b", "c d"};
  static const char* const keys[] = {"k", "x", "y z"};
  fuzz::Input in(data, size);
  const std::string path = fuzz::scratch() + "/e.conf", side = path + ".obf";
  unlink(side.c_str());
  fuzz::spit(path, "# edited by the fuzzer\n\n[a]\nk = 1\n");
  Model model;
  model["a"]["k"].values = {"1"};
  Model stored = model;  // as of the last store
  auto p = std::make_unique<ZStanzaFileProperties>(path.c_str(), 1);

  for (int step = 0; step < 40 && !in.empty(); ++step) {
    const unsigned op = in.pick(8);
    const std::string s = name(in, stanzas), k = name(in, keys);
    const bool hide = in.pick(2) == 1;
    if (op <= 1) {  // setValue
      const std::string v = value(in);
      Key* key = model.count(s) && model[s].count(k) ? &model[s][k] : nullptr;
      bool expectRefusal = s.empty() || k.empty() ||
                           (!v.empty() && key && !key->values.empty() && key->hidden != hide);
      if (refused([&] { p->setValue(s.c_str(), k.c_str(), v.c_str(), hide); }) != expectRefusal) {
        fuzz::fail("setValue refused or not as expected", s + "/" + k, v);
      }
      if (!expectRefusal) {
        Key& nk = model[s][k];
        if (key == nullptr || (!v.empty() && !hide)) nk.hasLine = true;
        nk.values.clear();
        if (!v.empty()) nk.values.push_back(v);
        nk.hidden = !v.empty() && hide;
      }
    } else if (op == 2) {  // appendValue
      const std::string v = value(in);
      Key* key = model.count(s) && model[s].count(k) ? &model[s][k] : nullptr;
      bool sameSet = key && !key->values.empty() && key->hidden == hide;
      bool expectRefusal = s.empty() || k.empty() || v.empty() ||
                           (key && !key->values.empty() && key->hidden != hide);
      if (refused([&] { p->appendValue(s.c_str(), k.c_str(), v.c_str(), hide); }) !=
          expectRefusal) {
        fuzz::fail("appendValue refused or not as expected", s + "/" + k, v);
      }
      if (!expectRefusal) {
        Key& nk = model[s][k];
        if (key == nullptr || (!hide && !sameSet)) nk.hasLine = true;
        nk.values.push_back(v);
        nk.hidden = hide;
      }
    } else if (op == 3) {
      if (refused([&] { p->deleteKey(s.c_str(), k.c_str()); }) != (s.empty() || k.empty())) {
        fuzz::fail("deleteKey refused or not as expected", s, k);
      }
      if (model.count(s)) model[s].erase(k);
    } else if (op == 4) {
      if (refused([&] { p->deleteStanza(s.c_str()); }) != s.empty()) fuzz::fail("deleteStanza", s);
      model.erase(s);
    } else if (op == 5) {
      if (refused([&] { p->addStanza(s.c_str()); }) != s.empty()) fuzz::fail("addStanza", s);
      if (!s.empty()) model[s];
    } else if (op == 6) {
      const std::string c = noZero(in.text(12));
      if (refused([&] { p->addStanzaComment(s.c_str(), c.c_str()); }) != (s.empty() || c.empty())) {
        fuzz::fail("addStanzaComment", s, c);
      }
      if (!s.empty() && !c.empty()) model[s];
    } else {  // store and reload
      const std::string before = fuzz::slurp(path), sideBefore = fuzz::slurp(side);
      try {
        p->store(nullptr);
      } catch (const ZPropertiesInvalidDataException&) {
        if (fuzz::slurp(path) != before || fuzz::slurp(side) != sideBefore) {
          fuzz::fail("a refused store changed the files", before, fuzz::slurp(path));
        }
        // Start again from what the files hold.
        p = std::make_unique<ZStanzaFileProperties>(path.c_str(), 1);
        model = stored;
        continue;
      }
      model = stored = reloaded(model);
      const std::string text = fuzz::slurp(path);
      p = std::make_unique<ZStanzaFileProperties>(path.c_str(), 1);
      if (shown(*p) != shown(model)) fuzz::fail("reload differs", shown(model), shown(*p));
      p->store(nullptr);
      if (fuzz::slurp(path) != text) fuzz::fail("second store differs", text, fuzz::slurp(path));
    }
    if (op != 7 && shown(*p) != shown(model)) fuzz::fail("edit not shown", shown(model), shown(*p));
  }
  return 0;
}
