#include "fairlead/ini/ini_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace fairlead {
namespace {

constexpr char kActive = ' ';

// Room for what comes from a pipe, or from a file that does not know its size.
constexpr std::size_t kFirstRoom = 4096;

// Repeats a system call for as long as signals interrupt it.
template <typename Call>
auto Uninterrupted(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// A file that is open, or could not be opened; closed at the end of its scope.
class OpenFile {
 public:
  OpenFile(const std::string& name, int flags)
      : descriptor_(Uninterrupted([&name, flags] {
          return open(name.c_str(), flags | O_CLOEXEC, 0666);
        })) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (IsOpen()) close(descriptor_);
  }

  bool IsOpen() const { return descriptor_ != -1; }

  // What the file holds, up to its end or to the last line that can be read.
  std::string ReadAll() const;

  // Whether the kernel took all of the text.
  bool WriteAll(std::string_view text) const;

 private:
  std::size_t ExpectedSize() const;

  const int descriptor_;
};

std::size_t OpenFile::ExpectedSize() const {
  struct stat status = {};
  if (fstat(descriptor_, &status) == -1) return 0;
  return static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
}

std::string OpenFile::ReadAll() const {
  // With room for one byte more than it asks for, a read that ends at the
  // expected size has met the end of the file.
  const std::size_t expected = ExpectedSize();
  std::string text(expected > 0 ? expected + 1 : kFirstRoom, '\0');
  std::size_t size = 0;
  while (true) {
    if (size == text.size()) text.resize(2 * size);
    const ssize_t count = Uninterrupted([&] {
      return read(descriptor_, text.data() + size, text.size() - size);
    });
    if (count == 0) break;
    if (count < 0) {
      // What was read of the line that failed is no line.
      size = size == 0 ? 0 : text.rfind('\n', size - 1) + 1;
      break;
    }
    size += static_cast<std::size_t>(count);
    if (size == expected) break;
  }
  text.resize(size);
  return text;
}

bool OpenFile::WriteAll(std::string_view text) const {
  while (!text.empty()) {
    const ssize_t count = Uninterrupted(
        [&] { return write(descriptor_, text.data(), text.size()); });
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Makes records of lines, which must outlive it.
class Loader {
 public:
  explicit Loader(std::vector<CIniFile::Record>& content) : content_(content) {}

  void AddLine(std::string_view line);

 private:
  void AddHeader(char commented, std::string_view after_bracket);
  void AddRecord(char commented, std::string_view section, std::string_view key,
                 std::string_view value);

  std::vector<CIniFile::Record>& content_;
  std::string comments_;      // They wait for the next header or key.
  std::string_view section_;  // Of the last header.
};

void Loader::AddLine(std::string_view line) {
  line = Trimmed(line);
  if (line.empty()) return;

  char commented = kActive;
  if (line.front() == CIniFile::Hash || line.front() == CIniFile::Semicolon) {
    if (line.find_first_of("[=") == std::string_view::npos) {
      comments_.append(line).push_back('\n');
      return;
    }
    commented = line.front();
    line = Trimmed(line.substr(1));
  }

  if (line.front() == '[') {
    AddHeader(commented, line.substr(1));
    return;
  }
  const std::size_t equals = line.find('=');
  if (equals != std::string_view::npos) {
    AddRecord(commented, section_, Trimmed(line.substr(0, equals)),
              Trimmed(line.substr(equals + 1)));
    return;
  }
  // Neither comment, header nor key: an empty record, unless comments wait.
  if (comments_.empty()) AddRecord(commented, {}, {}, {});
}

void Loader::AddHeader(char commented, std::string_view after_bracket) {
  const std::size_t end = after_bracket.find(']');
  if (end == std::string_view::npos)
    throw std::out_of_range("basic_string::erase");
  section_ = after_bracket.substr(0, end);
  AddRecord(commented, section_, {}, {});
}

void Loader::AddRecord(char commented, std::string_view section,
                       std::string_view key, std::string_view value) {
  CIniFile::Record& record = content_.emplace_back();
  record.Comments.swap(comments_);
  record.Commented = commented;
  record.Section = section;
  record.Key = key;
  record.Value = value;
}

// Appends the lines that stand for a record in a file.
void AppendLines(const CIniFile::Record& record, std::string& text) {
  text += record.Comments;
  if (record.Commented != kActive) text += record.Commented;
  if (record.Key.empty()) {
    text.append(1, '[').append(record.Section).append("]\n");
    return;
  }
  text.append(record.Key).append(1, '=').append(record.Value).append(1, '\n');
}

}  // namespace

bool CIniFile::Load(const std::string& file_name,
                    std::vector<Record>& content) {
  const OpenFile file(file_name, O_RDONLY);
  if (!file.IsOpen()) return true;

  content.clear();
  const std::string text = file.ReadAll();
  const auto line_ends = std::count(text.begin(), text.end(), '\n');
  content.reserve(static_cast<std::size_t>(line_ends) + 1);
  Loader loader(content);
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t length = std::min(rest.find('\n'), rest.size() - 1);
    loader.AddLine(rest.substr(0, length + 1));
    rest.remove_prefix(length + 1);
  }
  return true;
}

bool CIniFile::Save(const std::string& file_name,
                    const std::vector<Record>& content) {
  const OpenFile file(file_name, O_WRONLY | O_CREAT | O_TRUNC);
  if (!file.IsOpen()) return false;

  bool written = true;
  std::string lines;
  for (const Record& record : content) {
    if (record.Commented != kActive) std::printf("<%c> ", record.Commented);
    if (!written) continue;  // As a stream that has failed: no byte more.
    lines.clear();
    AppendLines(record, lines);
    written = file.WriteAll(lines);
  }
  return true;
}

bool CIniFile::Create(const std::string& file_name) {
  return Save(file_name, {});
}

std::string CIniFile::Content(const std::string& file_name) {
  std::vector<Record> records;
  if (!Load(file_name, records)) return {};
  std::string text;
  for (const Record& record : records) AppendLines(record, text);
  return text;
}

CIniFile::CIniFile()
    : records_(std::make_unique<std::vector<Record>>()),
      cursor(records_->end()) {}

CIniFile::~CIniFile() = default;

// The name is a copy: it may stand in the list or in lastLookup, which go
// before the file is opened.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool CIniFile::Load(std::string file_name) {
  records_->clear();
  loaded = false;
  cursor = records_->end();
  rediscovered = researches = searches = 0;
  lastLookup.clear();

  std::vector<Record> records;
  loaded = Load(file_name, records);
  *records_ = std::move(records);
  cursor = records_->end();
  return loaded;
}

}  // namespace fairlead
