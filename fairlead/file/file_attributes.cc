// Copies owner, access control list, extended attributes and mode.

#include "fairlead/file/file_attributes.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/file/file_results.h"

namespace fairlead::internal {
namespace {

constexpr const char* kAcl = "system.posix_acl_access";

// Returns the bytes of a call that reports their size first; nothing on
// failure.
template <typename Call>
std::optional<std::string> Bytes(const Call& call) {
  while (true) {
    const ssize_t size = call(nullptr, 0);
    if (size <= 0)
      return size == 0 ? std::optional(std::string()) : std::nullopt;
    std::string bytes(static_cast<std::size_t>(size), '\0');
    const ssize_t count = call(bytes.data(), bytes.size());
    if (count == -1 && errno == ERANGE) continue;  // It grew in the meantime.
    if (count == -1) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
  }
}

std::optional<std::string> Value(const Descriptor& file, const char* name) {
  return Bytes([&](char* value, std::size_t size) {
    return fgetxattr(file.number(), name, value, size);
  });
}

bool IsUnsupported(int error) { return error == ENOTSUP || error == ENOSYS; }

FileResult Lost(const std::string& what) {
  const int error = errno;
  return Failed(FileError::kOnlyInPlace, error,
                "its " + what + " cannot be kept: " + ErrorText(error));
}

FileResult LostAttribute(const std::string& name) {
  return Lost("attribute '" + name + "'");
}

FileResult CopyOwner(const struct stat& old, const Descriptor& to) {
  struct stat now = {};
  if (fstat(to.number(), &now) == -1) return WriteResult(errno);
  const bool same = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
  if (same || fchown(to.number(), old.st_uid, old.st_gid) == 0) return {};
  return Lost("owner");
}

// A file with an access control list keeps the list's mask in the group bits of
// its mode, so copying the mode alone would grant the mask to the group.
// Removes the list that the new file inherited from its folder if the old one
// has none.
FileResult CopyAcl(const Descriptor& from, const Descriptor& to) {
  const std::optional<std::string> acl = Value(from, kAcl);
  if (!acl && !IsUnsupported(errno) && errno != ENODATA)
    return LostAttribute(kAcl);
  const int result =
      acl ? fsetxattr(to.number(), kAcl, acl->data(), acl->size(), 0)
          : fremovexattr(to.number(), kAcl);
  const bool had_none = !acl && (IsUnsupported(errno) || errno == ENODATA);
  return result == 0 || had_none ? FileResult() : LostAttribute(kAcl);
}

FileResult CopyOne(const Descriptor& from, const Descriptor& to,
                   const char* name) {
  const std::optional<std::string> value = Value(from, name);
  if (!value) return errno == ENODATA ? FileResult() : LostAttribute(name);
  if (Value(to, name) == value) return {};  // Such as a security label.
  const int result =
      fsetxattr(to.number(), name, value->data(), value->size(), 0);
  return result == 0 ? FileResult() : LostAttribute(name);
}

bool IsLeftOut(std::string_view name) {
  return name == kAcl || name == "security.ima" || name == "security.evm";
}

FileResult CopyExtended(const Descriptor& from, const Descriptor& to) {
  const std::optional<std::string> names =
      Bytes([&](char* list, std::size_t size) {
        return flistxattr(from.number(), list, size);
      });
  if (!names) return IsUnsupported(errno) ? FileResult() : Lost("attributes");
  for (std::string_view rest = *names; !rest.empty();) {
    const std::string name(rest.substr(0, rest.find('\0')));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (IsLeftOut(name)) continue;
    FileResult result = CopyOne(from, to, name.c_str());
    if (!result.Succeeded()) return result;
  }
  return {};
}

}  // namespace

// The mode comes last: changing the owner clears the set-user-ID bits.
FileResult CopyAttributes(const Descriptor& from, const Descriptor& to) {
  struct stat old = {};
  if (fstat(from.number(), &old) == -1) return WriteResult(errno);
  FileResult result = CopyOwner(old, to);
  if (result.Succeeded()) result = CopyAcl(from, to);
  if (result.Succeeded()) result = CopyExtended(from, to);
  if (result.Succeeded() && fchmod(to.number(), old.st_mode & 07777U) == -1)
    result = Lost("mode");
  return result;
}

}  // namespace fairlead::internal
