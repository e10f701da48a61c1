// The command `crypt`: encrypts and decrypts a file or standard input.

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

#include "fairlead/file/file_edit.h"
#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/command/command_table.h"
#include "tool/command/parameters.h"
#include "tool/command/same_file.h"
#include "tool/crypt/cipher.h"
#include "tool/io/file_failure.h"
#include "tool/io/interruption.h"
#include "tool/io/output.h"
#include "tool/io/progress.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::crypt {
namespace {

constexpr std::size_t kMinSizeForBar = 1'000'000;  // Less is done in no time.

constexpr Parameter kOut = {
    .name = "out",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kOutput,
    .help =
        "write to FILE instead of standard output; it may be that of -file, "
        "and is replaced only when everything is written"};

constexpr auto kUses = Uses(OneOf(kAes, kRc4, kCipherWithKey), kAesBits,
                            OneOf(kFile, kStdin), Optional(kOut));

using Arguments = tool::Arguments<kUses>;

// Thrown after a signal, so that destructors delete the new file.
struct Interrupted {};

// The input. With -out, reading stops at a signal.
class Source {
 public:
  explicit Source(const Arguments& arguments)
      : name_(arguments.Has(kStdin) ? "standard input"
                                    : Quoted(arguments.Text(kFile))),
        file_(
            arguments.Has(kStdin)
                ? dup(STDIN_FILENO)
                : OpenUninterrupted(arguments.Text(kFile).c_str(), O_RDONLY)) {
    if (!file_.IsOpen() || fstat(file_.number(), &status_) == -1)
      throw Failure(kCannotRead,
                    Concat("cannot open ", name_, ": ", Reason(errno)));
    if (arguments.Has(kOut)) interruption_.emplace();
  }

  const std::string& name() const { return name_; }
  const struct stat& status() const { return status_; }

  // Returns the number of bytes left to read, or 0 if it is unknown.
  std::size_t Size() const {
    if (!S_ISREG(status_.st_mode)) return 0;
    const off_t at = lseek(file_.number(), 0, SEEK_CUR);
    if (at == -1) return 0;
    return static_cast<std::size_t>(std::max<off_t>(status_.st_size - at, 0));
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
    if (poll(waits.data(), waits.size(), -1) == -1 && errno != EINTR)
      throw Failure(kCannotRead,
                    Concat("cannot read ", name_, ": ", Reason(errno)));
    if (Interruption::HasCome()) throw Interrupted();
  }

  const std::string name_;
  const Descriptor file_;
  struct stat status_ = {};
  std::optional<Interruption> interruption_;
};

// Passes the whole source through the cipher in pieces.
void Convert(const Source& source, CipherStream& cipher,
             const TakePiece& write) {
  const std::size_t size = source.Size();
  Progress progress(size);
  std::size_t done = 0;
  source.Read([&](std::string_view piece) {
    write(cipher.Take(piece));
    done += piece.size();
    if (size > kMinSizeForBar) progress.Show(std::min(done, size));
  });
}

void Encrypt(const Source& source, const CipherKey& key,
             const TakePiece& write) {
  CipherStream cipher(key, Direction::kEncrypt);
  Convert(source, cipher, write);
  if (cipher.lacking() > 0) write(cipher.Fill());
}

void CheckSize(const Source& source, const CipherKey& key, std::size_t size) {
  if (key.cipher != Cipher::kAesEcb || size % CipherStream::kBlock == 0) return;
  throw Failure(
      kMalformedInput,
      Concat(source.name(), " has ", BytesText(size),
             ", which is not a multiple of the AES block of 16: it is "
             "damaged, or not encrypted with AES (try -rc4)"));
}

// If the size is known in advance, a wrong one is refused before writing.
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

void CheckIsRegular(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    throw Failure(kCannotWrite,
                  Concat("cannot write ", Quoted(path),
                         ": it is not a regular file (without -out, the bytes "
                         "go to standard output)"));
}

void WorkToFile(Work work, const Source& source, const CipherKey& key,
                const std::string& path) {
  CheckIsRegular(path);
  ReplacementFile file(path);
  Check(file.result());
  work(source, key, [&file](std::string_view bytes) {
    file.Write(bytes);
    Check(file.result());
  });
  Check(file.Commit());
}

void WorkToOutput(Work work, const Source& source, const CipherKey& key,
                  const Output& output) {
  if (output.IsFile(source.status()))
    throw Failure(kCannotWrite,
                  Concat("standard output is also the input, ", source.name(),
                         "; use -out to replace it safely"));
  const bool terminal = output.screen().terminal;
  work(source, key, [&](std::string_view bytes) {
    if (terminal)
      output.Write(Visible(bytes));
    else
      output.Write(bytes);
  });
}

ExitStatus Crypt(Work work, const Arguments& arguments, const Output& output) {
  CheckDistinct(arguments, kOut, kKeyfile);
  const CipherKey key = *ReadCipherKey(arguments);
  const Source source(arguments);
  if (!arguments.Has(kOut)) {
    WorkToOutput(work, source, key, output);
    return kDone;
  }
  try {
    WorkToFile(work, source, key, arguments.Text(kOut));
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

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage, or an unsuitable key"},
    {kMalformedInput,
     "the input to decrypt is not whole blocks of AES, or the key file is "
     "malformed"},
    {kCannotWrite, "the output cannot be written"},
    {kCannotRead, "the input or the key cannot be read"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

constexpr auto kEncryptExamples = std::to_array<Example>({
    {"fairlead crypt encrypt -aes secret -file a.txt -out a.aes",
     "Writes a.aes; 'crypt decrypt' with the same key restores a.txt."},
    {"fairlead crypt encrypt -cipher rc4 -keyenv KEY -file a.txt >a.rc4",
     "Writes to standard output, with the key in the variable KEY."},
    {"fairlead crypt encrypt -rc4 secret -file a.txt -out a.txt",
     "Encrypts a file in place; the same command decrypts it again."},
});

constexpr auto kDecryptExamples = std::to_array<Example>({
    {"fairlead crypt decrypt -aes secret -file a.aes -out a.txt",
     "Decrypts a.aes to a.txt."},
    {"fairlead crypt decrypt -cipher aes -bits 256 -keyfile key -file a.aes",
     "Decrypts a.aes to standard output, with the 32 bytes of file key."},
});

constexpr auto kExamples = std::to_array<Example>({
    kEncryptExamples[0],
    kDecryptExamples[0],
    kEncryptExamples[1],
});

constexpr Command kEncrypt = {
    .name = "encrypt",
    .parent = &kCryptCommand,
    .summary = "encrypt a file or standard input",
    .description =
        "AES encrypts blocks of 16 bytes. The last one is padded with zero "
        "bytes; decrypting does not remove them.",
    .action = ActionOf<kUses, RunEncrypt>(),
    .examples = kEncryptExamples,
    .statuses = kStatuses,
};

constexpr Command kDecrypt = {
    .name = "decrypt",
    .parent = &kCryptCommand,
    .summary = "decrypt a file or standard input",
    .description =
        "Input for AES that is not a multiple of 16 bytes is malformed. For "
        "standard input this is only known at the end, after the preceding "
        "blocks have been written (unless -out is used).",
    .action = ActionOf<kUses, RunDecrypt>(),
    .examples = kDecryptExamples,
    .statuses = kStatuses,
};

constexpr std::array kSubcommands = {&kEncrypt, &kDecrypt};

}  // namespace
}  // namespace fairlead::tool::crypt

namespace fairlead::tool {

constinit const Command kCryptCommand = {
    .name = "crypt",
    .summary = "encrypt and decrypt a file or standard input",
    .description =
        "Bare ciphers, for peers that expect them: a key is used as it is, and "
        "nothing detects a wrong key or modified data. AES is in ECB mode: "
        "equal blocks encrypt to equal blocks. RC4 generates the same stream "
        "from a key each time, so a key used twice protects neither text. "
        "Files of any size are processed in pieces, with a progress bar on a "
        "terminal. Control bytes are made visible on a terminal.",
    .examples = crypt::kExamples,
    .statuses = crypt::kStatuses,
    .subcommands = crypt::kSubcommands,
};

}  // namespace fairlead::tool
