// Loading an INI file beside other libraries, and saving one beside the bare
// system calls.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fairlead/ini/ini_benchmark.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/testing/memory_file.h"
#include "fairlead/testing/temp_folder.h"

namespace {

using fairlead::CIniFile;
using fairlead::Require;
using Records = std::vector<CIniFile::Record>;

// A typical settings file: twelve lines per section, a comment above each.
class SampleFile {
 public:
  explicit SampleFile(int lines) {
    std::ofstream out(path_);
    for (int line = 0; line < lines; ++line) WriteLine(line, out);
  }

  const std::string& Path() const { return path_; }

  // The last value.
  const std::string& Section() const { return section_; }
  const std::string& Key() const { return key_; }
  const std::string& Value() const { return value_; }

 private:
  void WriteLine(int line, std::ofstream& out) {
    if (line % 12 == 0) {
      out << "# Settings for the server on shelf " << line << "\n";
    } else if (line % 12 == 1) {
      section_ = "server" + std::to_string(line);
      out << '[' << section_ << "]\n";
    } else if (line % 12 == 11) {
      out << '\n';
    } else {
      key_ = "setting" + std::to_string(line);
      value_ = "the value of line " + std::to_string(line);
      out << key_ << " = " << value_ << '\n';
    }
  }

  const fairlead::internal::TempFolder folder_;
  const std::string path_ = folder_.Path("sample.ini");
  std::string section_;
  std::string key_;
  std::string value_;
};

const SampleFile& Sample(const benchmark::State& state) {
  static std::map<int, std::unique_ptr<SampleFile>> samples;
  const int lines = static_cast<int>(state.range(0));
  auto& sample = samples[lines];
  if (!sample) sample = std::make_unique<SampleFile>(lines);
  return *sample;
}

struct Fairlead {
  void Load(const std::string& path) { CIniFile::Load(path, records); }
  std::string Get(const std::string& section, const std::string& key) const {
    for (const CIniFile::Record& record : records)
      if (record.Section == section && record.Key == key) return record.Value;
    return {};
  }

  Records records;
};

#ifdef FAIRLEAD_PEER_SIMPLEINI
struct SimpleIni {
  void Load(const std::string& path) { ini.LoadFile(path.c_str()); }
  std::string Get(const std::string& section, const std::string& key) const {
    return ini.GetValue(section.c_str(), key.c_str(), "");
  }

  CSimpleIniA ini;
};
#endif

#ifdef FAIRLEAD_PEER_INIH
// It only calls back for each value; a list is the simplest model.
struct Inih {
  struct Entry {
    std::string section;
    std::string key;
    std::string value;
  };

  static int Add(void* user, const char* section, const char* key,
                 const char* value) {
    static_cast<Inih*>(user)->entries.push_back({section, key, value});
    return 1;
  }

  void Load(const std::string& path) { ini_parse(path.c_str(), &Add, this); }
  std::string Get(const std::string& section, const std::string& key) const {
    for (const Entry& entry : entries)
      if (entry.section == section && entry.key == key) return entry.value;
    return {};
  }

  std::vector<Entry> entries;
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
    g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_NONE, nullptr);
  }
  std::string Get(const std::string& section, const std::string& key) const {
    char* const text =
        g_key_file_get_value(file, section.c_str(), key.c_str(), nullptr);
    std::string value = text != nullptr ? text : "";
    g_free(text);
    return value;
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

  boost::property_tree::ptree tree;
};
#endif

// One round constructs the model, loads the file and destroys the model.
template <typename Model>
void BM_Load(benchmark::State& state) {
  const SampleFile& sample = Sample(state);
  Model checked;
  checked.Load(sample.Path());
  Require(checked.Get(sample.Section(), sample.Key()) == sample.Value(),
          "a library did not read the last value");
  for (auto _ : state) {
    Model model;
    model.Load(sample.Path());
    benchmark::ClobberMemory();
  }
}

void Lengths(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(60)->Arg(1'000)->Arg(100'000);
}

BENCHMARK(BM_Load<Fairlead>)->Name("IniLoad/fairlead")->Apply(Lengths);
#ifdef FAIRLEAD_PEER_SIMPLEINI
BENCHMARK(BM_Load<SimpleIni>)->Name("IniLoad/simpleini")->Apply(Lengths);
#endif
#ifdef FAIRLEAD_PEER_INIH
BENCHMARK(BM_Load<Inih>)->Name("IniLoad/inih")->Apply(Lengths);
#endif
#ifdef FAIRLEAD_PEER_INIPARSER
// Not 100,000 lines, as its time grows with their square.
BENCHMARK(BM_Load<IniParser>)->Name("IniLoad/iniparser")->Arg(60)->Arg(1'000);
#endif
#ifdef FAIRLEAD_PEER_GLIB
BENCHMARK(BM_Load<Glib>)->Name("IniLoad/glib")->Apply(Lengths);
#endif
#ifdef FAIRLEAD_PEER_BOOST_PROPERTY_TREE
BENCHMARK(BM_Load<PropertyTree>)
    ->Name("IniLoad/boost_property_tree")
    ->Apply(Lengths);
#endif

Records SampleRecords(const benchmark::State& state) {
  Records records;
  CIniFile::Load(Sample(state).Path(), records);
  return records;
}

// Reads the file, and makes the same records out of texts at hand: loading
// cannot take less time.
void BM_ReadAndMakeRecords(benchmark::State& state) {
  const Records samples = SampleRecords(state);
  const std::string path = Sample(state).Path();
  std::string text(CIniFile::Content(path).size(), ' ');
  for (auto _ : state) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    Require(read(descriptor, text.data(), text.size()) != -1, "no read");
    close(descriptor);
    Records records;
    records.reserve(samples.size());
    for (const CIniFile::Record& sample : samples) records.push_back(sample);
    benchmark::DoNotOptimize(records.data());
  }
}
BENCHMARK(BM_ReadAndMakeRecords)
    ->Name("IniLoad/read_and_make_records")
    ->Apply(Lengths);

void BM_Save(benchmark::State& state) {
  const Records records = SampleRecords(state);
  const fairlead::internal::MemoryFile file;
  const std::string path = file.Path();
  for (auto _ : state) CIniFile::Save(path, records);
  Require(file.Read() == CIniFile::Content(Sample(state).Path()),
          "the file is not what was loaded");
}
BENCHMARK(BM_Save)->Name("IniSave/fairlead")->Apply(Lengths);

// The same system calls, with the lines prepared.
void BM_BareWrites(benchmark::State& state) {
  const fairlead::internal::MemoryFile file;
  const std::string path = file.Path();
  std::vector<std::string> lines;
  for (const CIniFile::Record& record : SampleRecords(state)) {
    CIniFile::Save(path, {record});
    lines.push_back(file.Read());
  }
  for (auto _ : state) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    for (const std::string& line : lines)
      Require(write(descriptor, line.data(), line.size()) != -1, "no write");
    close(descriptor);
  }
  Require(file.Read() == CIniFile::Content(Sample(state).Path()),
          "the file is not what was loaded");
}
BENCHMARK(BM_BareWrites)->Name("IniSave/bare_writes")->Apply(Lengths);

}  // namespace
