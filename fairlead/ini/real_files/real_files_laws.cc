// Makes every kind of edit at many places of real INI files, in both readings,
// and checks that each keeps the laws of ini_document_laws.h and does to the
// records what CIniFile does; for real_edits_test.py.
//
//   real_files_laws SEED < NAMES
//
// The standard input names the files, a line each. The seed chooses the places.
// Prints counts to standard error, since CIniFile uses standard output; fails
// if a law is broken.

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_laws.h"
#include "fairlead/ini/ini_document_model.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_text.h"

namespace {

using fairlead::CIniFile;
using fairlead::IniDocument;
using fairlead::IniEntry;
using fairlead::IniPlace;
using fairlead::IniReading;
using fairlead::IniResult;
using fairlead::internal::DocumentLaws;
using fairlead::internal::DocumentOperation;
using fairlead::internal::DocumentStep;
using fairlead::internal::Lines;
using fairlead::internal::SameRecord;

// At most so many places of a file; fewer of one that has many lines, since the
// laws read all of it several times for each edit.
constexpr std::size_t kMaxPlaces = 60;
constexpr std::size_t kMinPlaces = 5;
constexpr std::size_t kMaxLines = 20'000;  // Of a file, times its places.
constexpr std::size_t kMaxShown = 50;

constexpr std::array<const char*, 7> kOperations = {
    "set", "add", "delete", "enable", "disable", "rename", "comment"};

// A section, or a key in it.
using Place = std::pair<std::string, std::optional<std::string>>;

std::string ReadText(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  if (!in) throw std::runtime_error("cannot read " + file);
  return text.str();
}

// Returns the names of a document, or a sample of them.
std::vector<Place> PlacesOf(const IniDocument& document, unsigned seed) {
  std::set<Place> all;
  for (const IniEntry& entry : document) {
    all.emplace(entry.section, std::nullopt);
    if (!entry.IsHeader()) all.emplace(entry.section, entry.key);
  }
  const std::size_t lines = Lines(document.Text()).size();
  const std::size_t count = std::clamp(
      kMaxLines / std::max<std::size_t>(lines, 1), kMinPlaces, kMaxPlaces);
  std::vector<Place> places;
  std::ranges::sample(all, std::back_inserter(places),
                      static_cast<std::ptrdiff_t>(count), std::mt19937(seed));
  return places;
}

// Returns the edits of what is at a place; `other` is another name there.
std::vector<DocumentStep> EditsAt(const Place& place, const std::string& other,
                                  std::size_t index) {
  using enum DocumentOperation;
  DocumentStep step;
  std::tie(step.section, step.key) = place;
  step.index = index;
  std::vector<DocumentStep> steps;
  const auto add = [&](DocumentOperation operation, std::string text = {},
                       char mark = '#') {
    steps.push_back(step);
    steps.back().operation = operation;
    steps.back().text = std::move(text);
    steps.back().mark = mark;
  };
  if (place.second) add(kSet, "a new value");
  if (place.second) add(kSet);
  add(kDelete);
  add(kEnable);
  add(kDisable, {}, '#');
  add(kDisable, {}, ';');
  add(kRename, "a-new-name");
  add(kRename, other);
  add(kComment, "a new comment\n\n; of three lines");
  add(kComment);
  return steps;
}

// Returns the edits that add a key or a section beside a place, or what is
// there already.
std::vector<DocumentStep> AdditionsAt(const Place& place) {
  using Where = IniPlace::Where;
  const std::string& section = place.first;
  const std::optional<std::string>& key = place.second;
  std::vector<DocumentStep> steps;
  const auto add = [&](std::string in, std::optional<std::string> name,
                       Where where) {
    DocumentStep& step = steps.emplace_back();
    step.operation = DocumentOperation::kAdd;
    step.section = std::move(in);
    step.key = std::move(name);
    step.text = "a new value";
    step.where = where;
    step.place = key.value_or(section);
  };
  add(section, key, Where::kDefault);
  for (const Where where :
       {Where::kDefault, Where::kFirst, Where::kBefore, Where::kAfter}) {
    if (key) add(section, "a-new-key", where);
    if (!key) add("a new section", std::nullopt, where);
  }
  if (!key) add(section, "a-new-key", Where::kDefault);
  add("a new section", "a-new-key", Where::kDefault);
  steps.push_back(steps.back());
  steps.back().operation = DocumentOperation::kSet;
  return steps;
}

// Does a step with CIniFile to a file. Returns false for one that it does not
// have.
bool PerformOnFile(const DocumentStep& step, const std::string& file) {
  using enum DocumentOperation;
  const std::string& section = step.section;
  if (step.index > 1 || step.where != IniPlace::Where::kDefault) return false;
  const std::string comments =
      fairlead::internal::RecordModel::AsComments(step.text);
  if (!step.key) {
    switch (step.operation) {
      case kAdd:
        return CIniFile::AddSection(section, file);
      case kDelete:
        return CIniFile::DeleteSection(section, file);
      case kEnable:
        return CIniFile::UnCommentSection(section, file);
      case kDisable:
        return CIniFile::CommentSection(step.mark, section, file);
      case kRename:
        return CIniFile::RenameSection(section, step.text, file);
      case kComment:
        return CIniFile::SetSectionComments(comments, section, file);
      case kSet:
        return false;
    }
  }
  const std::string& key = *step.key;
  switch (step.operation) {
    case kSet:
    case kAdd:
      return CIniFile::SetValue(key, step.text, section, file);
    case kDelete:
      return CIniFile::DeleteRecord(key, section, file);
    case kEnable:
      return CIniFile::UnCommentRecord(key, section, file);
    case kDisable:
      return CIniFile::CommentRecord(CIniFile::CommentChar{step.mark}, key,
                                     section, file);
    case kComment:
      return CIniFile::SetRecordComments(comments, key, section, file);
    case kRename:
      return false;
  }
  return false;
}

using Records = std::vector<CIniFile::Record>;

Records RecordsOf(std::string_view text) {
  return fairlead::RecordsFromText(text).records;
}

void WriteText(const std::string& file, const std::string& text) {
  std::ofstream out(file, std::ios::binary);
  if (!(out << text << std::flush))
    throw std::runtime_error("cannot write " + file);
}

// Returns the name of a file in memory.
std::string MakeMemoryFile() {
  const int descriptor = memfd_create("real_files_laws", 0);
  if (descriptor < 0) throw std::runtime_error("no file in memory");
  return "/proc/self/fd/" + std::to_string(descriptor);
}

class RealFiles {
 public:
  explicit RealFiles(unsigned seed) : seed_(seed) {}

  void Check(const std::string& file) {
    const std::string text = ReadText(file);
    ++files_;
    file_ = file;
    for (const IniReading reading : {IniReading::kLive, IniReading::kRecords}) {
      const IniDocument document(text, reading);
      reading_ = reading;
      if (document.Text() != text) Fail("identity", nullptr);
      CheckPlaces(document);
    }
  }

  // Prints the counts. Returns whether all is well, and was tried: of each kind
  // at least one edit for a file was made.
  bool Report() const {
    std::cerr << files_ << " files, " << places_ << " places";
    std::size_t edits = 0;
    for (const auto& [operation, count] : done_) {
      std::cerr << ", " << count << ' '
                << kOperations.at(static_cast<std::size_t>(operation));
      edits += count;
    }
    std::cerr << "; " << edits << " edits, " << by_store_
              << " of them compared with CIniFile, " << unchanged_
              << " unchanged, " << refused_ << " refused, " << violations_
              << " violations (seed " << seed_ << ")\n";
    const bool is_enough =
        done_.size() == kOperations.size() &&
        std::ranges::all_of(done_, [this](const auto& entry) {
          return entry.second >= files_;
        });
    if (!is_enough) std::cerr << "too few edits\n";
    return violations_ == 0 && is_enough;
  }

 private:
  void CheckPlaces(const IniDocument& document) {
    std::string other = "a-new-name";
    for (const Place& place : PlacesOf(document, seed_)) {
      ++places_;
      const bool is_unique = CountOf(document, place) <= 1;
      for (std::size_t index = 0; index <= (is_unique ? 0 : 2); ++index)
        for (const DocumentStep& step : EditsAt(place, other, index))
          CheckStep(document, step);
      for (const DocumentStep& step : AdditionsAt(place))
        CheckStep(document, step);
      other = place.second.value_or(place.first);
    }
  }

  static std::size_t CountOf(const IniDocument& document, const Place& place) {
    return static_cast<std::size_t>(std::count_if(
        document.begin(), document.end(), [&](const IniEntry& entry) {
          return place.second && entry.section == place.first &&
                 entry.key == *place.second;
        }));
  }

  void CheckStep(const IniDocument& document, const DocumentStep& step) {
    const DocumentLaws laws(document, reading_, step);
    for (const std::string& fault : laws.faults()) Fail(fault, &step);
    if (!laws.result().IsOk()) ++refused_;
    if (laws.result().code == IniResult::Code::kUnchanged) ++unchanged_;
    if (laws.result().code != IniResult::Code::kDone) return;
    ++done_[step.operation];
    if (reading_ == IniReading::kRecords)
      CheckStore(document.Text(), step, laws.after().Text());
  }

  // A file that CIniFile edits has the records of the document, once it is
  // saved, too: saving may change damaged lines.
  void CheckStore(const std::string& before, const DocumentStep& step,
                  const std::string& after) {
    WriteText(copy_, before);
    if (!PerformOnFile(step, copy_)) return;
    ++by_store_;
    const Records saved = RecordsOf(TextFromRecords(RecordsOf(after)));
    if (!std::ranges::equal(saved, RecordsOf(ReadText(copy_)), SameRecord))
      Fail("the records of CIniFile", &step);
  }

  void Fail(const std::string& law, const DocumentStep* step) {
    if (++violations_ > kMaxShown) return;
    std::cerr << file_ << ": "
              << (reading_ == IniReading::kLive ? "live: " : "records: ")
              << law;
    if (step != nullptr)
      std::cerr << ": "
                << kOperations.at(static_cast<std::size_t>(step->operation))
                << " [" << step->section << "] " << step->key.value_or("")
                << " '" << step->text << "' index " << step->index << " mark "
                << step->mark << " place " << static_cast<int>(step->where);
    std::cerr << '\n';
  }

  const unsigned seed_;
  const std::string copy_ = MakeMemoryFile();  // For CIniFile.
  std::string file_;
  IniReading reading_ = IniReading::kLive;
  std::size_t files_ = 0;
  std::size_t places_ = 0;
  std::size_t refused_ = 0;
  std::size_t unchanged_ = 0;
  std::size_t by_store_ = 0;
  std::size_t violations_ = 0;
  std::map<DocumentOperation, std::size_t> done_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    RealFiles files(static_cast<unsigned>(std::stoul(argv[1])));
    for (std::string file; std::getline(std::cin, file);) files.Check(file);
    return files.Report() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
