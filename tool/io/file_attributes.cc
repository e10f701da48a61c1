// Copies owner, access control list, extended attributes and mode.

#include "tool/io/file_attributes.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/reason.h"

namespace fairlead::tool {
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

std::string WhyNot(std::string_view name) {
  return Concat("its attribute ", Quoted(name),
                " cannot be kept: ", Reason(errno));
}

std::string CopyOwner(const struct stat& old, const Descriptor& to) {
  struct stat now = {};
  if (fstat(to.number(), &now) == -1) return Reason(errno);
  const bool same = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
  if (same || fchown(to.number(), old.st_uid, old.st_gid) == 0) return "";
  return Concat("its owner cannot be kept: ", Reason(errno));
}

// A file with an access control list keeps the list's mask in the group bits of
// its mode, so copying the mode alone would grant the mask to the group.
// Removes the list that the new file inherited from its folder if the old one
// has none.
std::string CopyAcl(const Descriptor& from, const Descriptor& to) {
  const std::optional<std::string> acl = Value(from, kAcl);
  if (!acl && !IsUnsupported(errno) && errno != ENODATA) return WhyNot(kAcl);
  const int result =
      acl ? fsetxattr(to.number(), kAcl, acl->data(), acl->size(), 0)
          : fremovexattr(to.number(), kAcl);
  const bool had_none = !acl && (IsUnsupported(errno) || errno == ENODATA);
  return result == 0 || had_none ? "" : WhyNot(kAcl);
}

std::string CopyOne(const Descriptor& from, const Descriptor& to,
                    const char* name) {
  const std::optional<std::string> value = Value(from, name);
  if (!value) return errno == ENODATA ? "" : WhyNot(name);
  if (Value(to, name) == value) return "";  // Such as a security label.
  const int result =
      fsetxattr(to.number(), name, value->data(), value->size(), 0);
  return result == 0 ? "" : WhyNot(name);
}

bool IsLeftOut(std::string_view name) {
  return name == kAcl || name == "security.ima" || name == "security.evm";
}

std::string CopyExtended(const Descriptor& from, const Descriptor& to) {
  const std::optional<std::string> names =
      Bytes([&](char* list, std::size_t size) {
        return flistxattr(from.number(), list, size);
      });
  if (!names) return IsUnsupported(errno) ? "" : WhyNot("...");
  for (std::string_view rest = *names; !rest.empty();) {
    const std::string name(rest.substr(0, rest.find('\0')));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (IsLeftOut(name)) continue;
    if (std::string why = CopyOne(from, to, name.c_str()); !why.empty())
      return why;
  }
  return "";
}

}  // namespace

// The mode comes last: changing the owner clears the set-user-ID bits.
std::string CopyAttributes(const Descriptor& from, const Descriptor& to) {
  struct stat old = {};
  if (fstat(from.number(), &old) == -1) return Reason(errno);
  std::string why = CopyOwner(old, to);
  if (why.empty()) why = CopyAcl(from, to);
  if (why.empty()) why = CopyExtended(from, to);
  if (why.empty() && fchmod(to.number(), old.st_mode & 07777U) == -1)
    why = Concat("its mode cannot be kept: ", Reason(errno));
  return why;
}

}  // namespace fairlead::tool
