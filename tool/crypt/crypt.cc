// The command `crypt`: AES or RC4 over a file or standard input.

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/command/same_file.h"
#include "tool/command/usage.h"
#include "tool/crypt/cipher.h"
#include "tool/io/interruption.h"
#include "tool/io/output.h"
#include "tool/io/progress.h"
#include "tool/io/read_file.h"
#include "tool/io/replacement_file.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kSmall = 1'000'000;  // Done before a bar can be read.

constexpr Parameter kInputFile = {.name = "file",
                                  .word = "PATH",
                                  .kind = Kind::kFile,
                                  .group = "What",
                                  .help = "the bytes of this file"};
constexpr Parameter kInput = {
    .name = "stdin",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "What",
    .help = "the bytes of standard input, up to its end"};
constexpr Parameter kOut = {
    .name = "out",
    .word = "PATH",
    .kind = Kind::kFile,
    .group = "Output",
    .help =
        "write into this file, which may be the one of -file, and not to "
        "standard output; once all is done, the new file takes the old one's "
        "place at once, and before that nothing of it changes"};

// Thrown where a signal has come, so that no file is left behind.
struct Interrupted {};

// What is read, from the door given; with -out, until a signal comes.
class Source {
 public:
  explicit Source(const Arguments& arguments)
      : name_(arguments.Has(kInput) ? "standard input"
                                    : Quoted(arguments.Text(kInputFile))),
        file_(arguments.Has(kInput) ? dup(STDIN_FILENO)
                                    : open(arguments.Text(kInputFile).c_str(),
                                           O_RDONLY | O_CLOEXEC)) {
    if (!file_.IsOpen() || fstat(file_.number(), &facts_) == -1)
      throw Failure(kCannotRead,
                    Concat("cannot open ", name_, ": ", ErrorText(errno)));
    if (arguments.Has(kOut)) interruption_.emplace();
  }

  const std::string& name() const { return name_; }
  const struct stat& facts() const { return facts_; }

  // How many bytes are to come; 0 where that is not known.
  std::size_t Size() const {
    if (!S_ISREG(facts_.st_mode)) return 0;
    const off_t at = lseek(file_.number(), 0, SEEK_CUR);
    return static_cast<std::size_t>(std::max<off_t>(facts_.st_size - at, 0));
  }

  void Read(const TakePiece& take) const {
    ReadPieces(file_.number(), name_, take, [this] { Await(); });
  }

 private:
  void Await() const {
    if (!interruption_) return;
    std::array<pollfd, 2> waits = {
        pollfd{.fd = file_.number(), .events = POLLIN, .revents = 0},
        pollfd{
            .fd = interruption_->descriptor(), .events = POLLIN, .revents = 0}};
    poll(waits.data(), waits.size(), -1);
    if (Interruption::HasCome()) throw Interrupted();
  }

  const std::string name_;
  const Descriptor file_;
  struct stat facts_ = {};
  std::optional<Interruption> interruption_;
};

// Passes all of the source through the cipher, piece by piece.
void Convert(const Source& source, CipherStream& cipher,
             const TakePiece& write) {
  const std::size_t size = source.Size();
  Progress progress(size);
  std::size_t done = 0;
  source.Read([&](std::string_view piece) {
    write(cipher.Take(piece));
    done += piece.size();
    if (size > kSmall) progress.Show(std::min(done, size));
  });
}

void Encrypt(const Source& source, const CipherKey& key,
             const TakePiece& write) {
  CipherStream cipher(key, Direction::kEncrypt);
  Convert(source, cipher, write);
  const std::size_t padding = cipher.lacking();
  if (padding == 0) return;
  write(cipher.Fill());
  Tell("crypt", Concat(PaddingNote(padding), "; decrypting leaves them there"));
}

void CheckSize(const Source& source, const CipherKey& key, std::size_t size) {
  if (!key.aes || size % CipherStream::kBlock == 0) return;
  throw Failure(
      kMalformedInput,
      Concat(source.name(), " has ", size, " bytes, which are no whole blocks ",
             "of 16 bytes, so AES did not make it, or a part is missing or "
             "was added: get it anew, or try -rc4"));
}

// Where the size is known before, nothing is written of a wrong one.
void Decrypt(const Source& source, const CipherKey& key,
             const TakePiece& write) {
  CheckSize(source, key, source.Size());
  CipherStream cipher(key, Direction::kDecrypt);
  std::size_t size = 0;
  Convert(source, cipher, [&](std::string_view bytes) {
    write(bytes);
    size += bytes.size();
  });
  CheckSize(source, key, size + cipher.waiting());
}

using Work = void (*)(const Source& source, const CipherKey& key,
                      const TakePiece& write);

// What stands at the path, or nothing; it may be replaced.
std::optional<struct stat> OldFile(const std::string& path) {
  struct stat old = {};
  if (stat(path.c_str(), &old) == -1) {
    if (errno == ENOENT) return std::nullopt;
    FailToWrite(path, errno);
  }
  if (!S_ISREG(old.st_mode))
    FailToWrite(path,
                "it is no regular file (without -out, the bytes go to "
                "standard output)");
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == -1)
    FailToWrite(path, errno);
  return old;
}

void WorkIntoFile(Work work, const Source& source, const CipherKey& key,
                  const std::string& path) {
  const std::optional<struct stat> old = OldFile(path);
  Beside file(FollowLinks(path), old, "");
  work(source, key, [&file](std::string_view bytes) { file.Write(bytes); });
  if (!file.Rename())
    FailToWrite(path, "meanwhile, another file of that name was made");
}

void WorkOntoOutput(Work work, const Source& source, const CipherKey& key,
                    const Output& output) {
  if (output.IsFile(source.facts()))
    throw Failure(kCannotWrite,
                  Concat("standard output is the file that is read, ",
                         source.name(), ": -out replaces it safely"));
  const bool terminal = output.screen().terminal;
  work(source, key, [&](std::string_view bytes) {
    if (terminal)
      output.Write(Visible(bytes));
    else
      output.Write(bytes);
  });
}

ExitStatus Crypt(Work work, const Arguments& arguments, const Output& output) {
  CheckCipherUsage(arguments);
  CheckDistinct(arguments, kOut, kKeyfile);
  const CipherKey key = *ReadCipherKey(arguments);
  const Source source(arguments);
  if (!arguments.Has(kOut)) {
    WorkOntoOutput(work, source, key, output);
    return kDone;
  }
  try {
    WorkIntoFile(work, source, key, arguments.Text(kOut));
  } catch (const Interrupted&) {
    Interruption::End();
  }
  return kDone;
}

ExitStatus RunEncrypt(const Arguments& arguments, const Output& output) {
  return Crypt(Encrypt, arguments, output);
}

ExitStatus RunDecrypt(const Arguments& arguments, const Output& output) {
  return Crypt(Decrypt, arguments, output);
}

constexpr std::string_view kUsage =
    "(-aes KEY | -rc4 KEY | -cipher aes|rc4) [-keyfile PATH] [-keyenv NAME] "
    "[-bits 128|192|256] (-file PATH | -stdin) [-out PATH]";

constexpr auto kVerbs = std::to_array<Verb>({
    {"encrypt", kUsage, "make cipher text of plain bytes", RunEncrypt},
    {"decrypt", kUsage, "make the plain bytes of cipher text", RunDecrypt},
});

constexpr Parameter kVerb = WordOf(kVerbs);

constexpr std::array kParameters = {
    kAes,  kRc4,       kCipher, kKeyfile, kKeyenv,
    kBits, kInputFile, kInput,  kOut,     kHelp,
};

ExitStatus RunWord(const Arguments& arguments, const Output& output) {
  return RunVerb(arguments, output);
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead crypt encrypt -aes secret -file a.txt -out a.aes",
     "Makes a.aes, which 'decrypt' with the same words makes a.txt of."},
    {"fairlead crypt decrypt -cipher aes -bits 256 -keyfile key -file a.aes",
     "Prints what a.aes holds, with the key of 32 bytes in the file key."},
    {"fairlead crypt encrypt -cipher rc4 -keyenv KEY -file a.txt >a.rc4",
     "Writes to standard output, with the key in the variable KEY."},
    {"fairlead crypt encrypt -rc4 secret -file a.txt -out a.txt",
     "Enciphers a file in its place; the same line makes it plain again."},
});

constexpr std::array kStatuses = {
    kDone, kWrongUsage, kMalformedInput, kCannotWrite, kCannotRead,
};

}  // namespace

constinit const Command kCryptCommand = {
    .name = "crypt",
    .usage = "encrypt|decrypt -aes KEY -file PATH [-name value]...",
    .summary = "encipher and decipher a file or standard input",
    .story =
        "Bare ciphers, for peers that expect them: a key is used as it is, and "
        "nothing notices a wrong key or bytes that were changed. AES enciphers "
        "equal blocks to equal blocks; RC4 makes the same stream of a key each "
        "time, so that a key used twice protects neither text. AES works on "
        "blocks of 16 bytes: zero bytes fill the last one, which is told on "
        "standard error, and decrypting leaves them there; input to decrypt "
        "that is no whole number of blocks is malformed. Of standard input, "
        "that is seen at its end: without -out, what came before is written "
        "then. On a terminal control bytes are made visible. Files of any size "
        "are worked on in pieces, with a bar on a terminal.",
    .operand = &kVerb,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = RunWord,
};

}  // namespace fairlead::tool
