// Reading one value of a file, changing one, and lookups after one load, beside
// other libraries.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_benchmark.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/testing/memory_file.h"

namespace {

using fairlead::CIniFile;
using fairlead::Require;
using fairlead::internal::MemoryFile;

struct Setting {
  std::string section;
  std::string key;
  std::string value;
};

// A typical settings file: twelve lines per section, a comment above each.
struct Sample {
  explicit Sample(int lines) {
    std::string section;
    for (int line = 0; line < lines; ++line) {
      const std::string number = std::to_string(line);
      if (line % 12 == 0) {
        text += "# Settings for the server on shelf " + number + "\n";
      } else if (line % 12 == 1) {
        section = "server" + number;
        text += "[" + section + "]\n";
      } else if (line % 12 == 11) {
        text += '\n';
      } else {
        settings.push_back(
            {section, "setting" + number, "the value of line " + number});
        text += settings.back().key + " = " + settings.back().value + '\n';
      }
    }
    file.Write(text);
  }

  MemoryFile file;
  std::string text;
  std::vector<Setting> settings;  // In the order of the file.
};

const Sample& SampleOf(const benchmark::State& state) {
  static std::map<int, std::unique_ptr<Sample>> samples;
  const int lines = static_cast<int>(state.range(0));
  auto& sample = samples[lines];
  if (!sample) sample = std::make_unique<Sample>(lines);
  return *sample;
}

struct Fairlead {
  void Load(const std::string& path) { ini.Load(path); }
  std::string Get(const std::string& section, const std::string& key) {
    return ini.GetValueDef(section, key, "");
  }

  CIniFile ini;
};

// Resets the cursor before each lookup, so that no second pass is printed.
struct FairleadAfresh {
  void Load(const std::string& path) {
    ini.Load(path);
    end = ini.cursor;
  }
  std::string Get(const std::string& section, const std::string& key) {
    ini.cursor = end;
    return ini.GetValueDef(section, key, "");
  }

  CIniFile ini;
  std::vector<CIniFile::Record>::iterator end;
};

struct FairleadRecord : Fairlead {
  std::string Get(const std::string& section, const std::string& key) {
    auto found = ini.GetRecord(key, section);
    return found.empty() ? std::string() : std::move(found.front().Value);
  }
};

#ifdef FAIRLEAD_PEER_SIMPLEINI
struct SimpleIni {
  void Load(const std::string& path) { ini.LoadFile(path.c_str()); }
  std::string Get(const std::string& section, const std::string& key) const {
    return ini.GetValue(section.c_str(), key.c_str(), "");
  }
  void Set(const Setting& setting) {
    ini.SetValue(setting.section.c_str(), setting.key.c_str(),
                 setting.value.c_str());
  }
  void Save(const std::string& path) const { ini.SaveFile(path.c_str()); }

  CSimpleIniA ini;
};
#endif

#ifdef FAIRLEAD_PEER_INIH
// It only calls back for each value; for many lookups a user fills a hash
// table.
struct Inih {
  static int Add(void* user, const char* section, const char* key,
                 const char* value) {
    static_cast<Inih*>(user)->values.emplace(std::string(section) + '\n' + key,
                                             value);
    return 1;
  }
  void Load(const std::string& path) { ini_parse(path.c_str(), &Add, this); }
  std::string Get(const std::string& section, const std::string& key) const {
    const auto found = values.find(section + '\n' + key);
    return found == values.end() ? std::string() : found->second;
  }

  std::unordered_map<std::string, std::string> values;
};
#endif

#ifdef FAIRLEAD_PEER_INIPARSER
struct IniParser {
  IniParser() = default;
  IniParser(const IniParser&) = delete;
  IniParser& operator=(const IniParser&) = delete;
  ~IniParser() { iniparser_freedict(values); }

  void Load(const std::string& path) { values = iniparser_load(path.c_str()); }
  std::string Get(const std::string& section, const std::string& key) const {
    return iniparser_getstring(values, (section + ":" + key).c_str(), "");
  }
  void Set(const Setting& setting) const {
    iniparser_set(values, (setting.section + ":" + setting.key).c_str(),
                  setting.value.c_str());
  }
  void Save(const std::string& path) const {
    FILE* const out = std::fopen(path.c_str(), "w");
    iniparser_dump_ini(values, out);
    std::fclose(out);
  }

  dictionary* values = nullptr;
};
#endif

#ifdef FAIRLEAD_PEER_GLIB
struct Glib {
  Glib() = default;
  Glib(const Glib&) = delete;
  Glib& operator=(const Glib&) = delete;
  ~Glib() { g_key_file_free(file); }

  void Load(const std::string& path) const {
    g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_KEEP_COMMENTS,
                              nullptr);
  }
  std::string Get(const std::string& section, const std::string& key) const {
    char* const text =
        g_key_file_get_value(file, section.c_str(), key.c_str(), nullptr);
    std::string value = text != nullptr ? text : "";
    g_free(text);
    return value;
  }
  void Set(const Setting& setting) const {
    g_key_file_set_value(file, setting.section.c_str(), setting.key.c_str(),
                         setting.value.c_str());
  }
  // Not g_key_file_save_to_file, which replaces the file.
  void Save(const std::string& path) const {
    gsize size = 0;
    char* const text = g_key_file_to_data(file, &size, nullptr);
    FILE* const out = std::fopen(path.c_str(), "w");
    std::fwrite(text, 1, size, out);
    std::fclose(out);
    g_free(text);
  }

  GKeyFile* file = g_key_file_new();
};
#endif

#ifdef FAIRLEAD_PEER_BOOST_PROPERTY_TREE
struct PropertyTree {
  void Load(const std::string& path) {
    boost::property_tree::read_ini(path, tree);
  }
  std::string Get(const std::string& section, const std::string& key) const {
    return tree.get<std::string>(section + "." + key, "");
  }
  void Set(const Setting& setting) {
    tree.put(setting.section + "." + setting.key, setting.value);
  }
  void Save(const std::string& path) const {
    boost::property_tree::write_ini(path, tree);
  }

  boost::property_tree::ptree tree;
};
#endif

// Loads a file to read one value.
template <typename Model>
std::string ReadOne(const std::string& path, const Setting& setting) {
  Model model;
  model.Load(path);
  return model.Get(setting.section, setting.key);
}

template <>
std::string ReadOne<Fairlead>(const std::string& path, const Setting& setting) {
  return CIniFile::GetValue(setting.key, setting.section, path);
}

#ifdef FAIRLEAD_PEER_INIH
// It calls back for each value, so that only the wanted one is kept.
template <>
std::string ReadOne<Inih>(const std::string& path, const Setting& setting) {
  struct Search {
    const Setting& setting;
    std::string value;
  } search{setting, {}};
  ini_parse(
      path.c_str(),
      [](void* user, const char* section, const char* key, const char* value) {
        auto& wanted = *static_cast<Search*>(user);
        if (wanted.setting.key == key && wanted.setting.section == section)
          wanted.value = value;
        return 1;
      },
      &search);
  return search.value;
}
#endif

template <typename Model>
void BM_ReadOne(benchmark::State& state) {
  const Sample& sample = SampleOf(state);
  const std::string path = sample.file.Path();
  const Setting& setting = sample.settings[sample.settings.size() / 2];
  Require(ReadOne<Model>(path, setting) == setting.value,
          "a library did not read the value");
  for (auto _ : state) benchmark::DoNotOptimize(ReadOne<Model>(path, setting));
}

template <typename Model>
void ChangeOne(const std::string& path, const Setting& setting) {
  Model model;
  model.Load(path);
  model.Set(setting);
  model.Save(path);
}

template <>
void ChangeOne<Fairlead>(const std::string& path, const Setting& setting) {
  CIniFile::SetValue(setting.key, setting.value, setting.section, path);
}

template <typename Model>
void BM_ChangeOne(benchmark::State& state) {
  const Sample& sample = SampleOf(state);
  const MemoryFile file;
  file.Write(sample.text);
  const std::string path = file.Path();
  Setting setting = sample.settings[sample.settings.size() / 2];
  int count = 1'000;
  for (auto _ : state) {
    setting.value = std::to_string(++count);
    ChangeOne<Model>(path, setting);
  }
  Require(ReadOne<Fairlead>(path, setting) == setting.value,
          "a library did not change the value");
}

// Sends the lines printed by second passes to /dev/null.
class QuietScope {
 public:
  QuietScope() : file_(std::exchange(stdout, std::fopen("/dev/null", "w"))) {}
  QuietScope(const QuietScope&) = delete;
  QuietScope& operator=(const QuietScope&) = delete;
  ~QuietScope() { std::fclose(std::exchange(stdout, file_)); }

 private:
  FILE* const file_;
};

template <typename Model>
void LookUpAll(benchmark::State& state, const std::vector<Setting>& settings) {
  const QuietScope quiet;
  Model model;
  model.Load(SampleOf(state).file.Path());
  for (const Setting& setting : settings)
    Require(model.Get(setting.section, setting.key) == setting.value,
            "a library did not find a value");
  for (auto _ : state) {
    for (const Setting& setting : settings)
      benchmark::DoNotOptimize(model.Get(setting.section, setting.key));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(settings.size()));
}

template <typename Model>
void BM_InOrder(benchmark::State& state) {
  LookUpAll<Model>(state, SampleOf(state).settings);
}

template <typename Model>
void BM_AtRandom(benchmark::State& state) {
  std::vector<Setting> settings = SampleOf(state).settings;
  std::shuffle(settings.begin(), settings.end(), std::mt19937(11));
  LookUpAll<Model>(state, settings);
}

// Prints a line of usual length for every second lookup, as random lookups do:
// they cannot take less time.
void BM_PrintAlone(benchmark::State& state) {
  const QuietScope quiet;
  constexpr std::string_view kLine =
      "re-search: [server49/setting55] after [server493/setting499] "
      "discovered 500000 from 500000; total searches=1000000\n";
  const std::size_t lines = SampleOf(state).settings.size() / 2;
  for (auto _ : state)
    for (std::size_t i = 0; i < lines; ++i)
      std::fwrite(kLine.data(), 1, kLine.size(), stdout);
}

void Lengths(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(60)->Arg(1'000)->Arg(100'000);
}

// For libraries whose time grows with the square of the length.
[[maybe_unused]] void ShortLengths(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(60)->Arg(1'000);
}

// Random lookups with the cursor reset before each, and without.
BENCHMARK(BM_AtRandom<FairleadAfresh>)
    ->Name("IniAtRandom/fairlead")
    ->Apply(Lengths);
BENCHMARK(BM_AtRandom<Fairlead>)
    ->Name("IniAtRandom/fairlead_printing")
    ->Apply(Lengths);
BENCHMARK(BM_AtRandom<FairleadRecord>)
    ->Name("IniAtRandom/fairlead_record_printing")
    ->Apply(Lengths);
BENCHMARK(BM_PrintAlone)->Name("IniAtRandom/print_alone")->Apply(Lengths);
BENCHMARK(BM_InOrder<FairleadRecord>)
    ->Name("IniInOrder/fairlead_record")
    ->Apply(Lengths);
BENCHMARK(BM_ReadOne<Fairlead>)->Name("IniReadOne/fairlead")->Apply(Lengths);
BENCHMARK(BM_InOrder<Fairlead>)->Name("IniInOrder/fairlead")->Apply(Lengths);
BENCHMARK(BM_ChangeOne<Fairlead>)
    ->Name("IniChangeOne/fairlead")
    ->Apply(Lengths);

#define FAIRLEAD_BENCHMARK(library, name, lengths)                          \
  BENCHMARK(BM_ReadOne<library>)->Name("IniReadOne/" name)->Apply(lengths); \
  BENCHMARK(BM_InOrder<library>)->Name("IniInOrder/" name)->Apply(lengths); \
  BENCHMARK(BM_AtRandom<library>)->Name("IniAtRandom/" name)->Apply(lengths)
#define FAIRLEAD_CHANGE_BENCHMARK(library, name, lengths) \
  BENCHMARK(BM_ChangeOne<library>)->Name("IniChangeOne/" name)->Apply(lengths)

#ifdef FAIRLEAD_PEER_SIMPLEINI
FAIRLEAD_BENCHMARK(SimpleIni, "simpleini", Lengths);
FAIRLEAD_CHANGE_BENCHMARK(SimpleIni, "simpleini", Lengths);
#endif
#ifdef FAIRLEAD_PEER_INIH
FAIRLEAD_BENCHMARK(Inih, "inih", Lengths);  // It writes no files.
#endif
#ifdef FAIRLEAD_PEER_INIPARSER
FAIRLEAD_BENCHMARK(IniParser, "iniparser", ShortLengths);
FAIRLEAD_CHANGE_BENCHMARK(IniParser, "iniparser", ShortLengths);
#endif
#ifdef FAIRLEAD_PEER_GLIB
FAIRLEAD_BENCHMARK(Glib, "glib", Lengths);
FAIRLEAD_CHANGE_BENCHMARK(Glib, "glib", Lengths);
#endif
#ifdef FAIRLEAD_PEER_BOOST_PROPERTY_TREE
FAIRLEAD_BENCHMARK(PropertyTree, "boost_property_tree", Lengths);
FAIRLEAD_CHANGE_BENCHMARK(PropertyTree, "boost_property_tree", ShortLengths);
#endif

}  // namespace
