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

// What a call writes that is asked for the size first; nothing where it fails.
template <typename Call>
std::optional<std::string> Bytes(const Call& call) {
  while (true) {
    const ssize_t size = call(nullptr, 0);
    if (size <= 0)
      return size == 0 ? std::optional(std::string()) : std::nullopt;
    std::string bytes(static_cast<std::size_t>(size), '\0');
    const ssize_t count = call(bytes.data(), bytes.size());
    if (count == -1 && errno == ERANGE) continue;  // It grew meanwhile.
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

bool NoneCanBe(int error) { return error == ENOTSUP || error == ENOSYS; }

std::string WhyNot(std::string_view name) {
  return Concat("a new file would not have the attribute ", Quoted(name),
                " of the old one: ", Reason(errno));
}

std::string CopyOwner(const struct stat& old, const Descriptor& to) {
  struct stat now = {};
  if (fstat(to.number(), &now) == -1) return Reason(errno);
  const bool same = now.st_uid == old.st_uid && now.st_gid == old.st_gid;
  if (same || fchown(to.number(), old.st_uid, old.st_gid) == 0) return "";
  return Concat("a new file would not have the owner of the old one: ",
                Reason(errno));
}

// The group's bits of a mode beside a list are no rights of the group. A list
// that the new file got from its folder goes where the old file has none.
std::string CopyAcl(const Descriptor& from, const Descriptor& to) {
  const std::optional<std::string> acl = Value(from, kAcl);
  if (!acl && !NoneCanBe(errno) && errno != ENODATA) return WhyNot(kAcl);
  const int result =
      acl ? fsetxattr(to.number(), kAcl, acl->data(), acl->size(), 0)
          : fremovexattr(to.number(), kAcl);
  const bool had_none = !acl && (NoneCanBe(errno) || errno == ENODATA);
  return result == 0 || had_none ? "" : WhyNot(kAcl);
}

std::string CopyOne(const Descriptor& from, const Descriptor& to,
                    const char* name) {
  const std::optional<std::string> value = Value(from, name);
  if (!value) return errno == ENODATA ? "" : WhyNot(name);
  if (Value(to, name) == value) return "";  // Such as the label of a policy.
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
  if (!names) return NoneCanBe(errno) ? "" : WhyNot("...");
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

// The mode's bits that lend an owner's rights would go with a change of owner.
std::string CopyAttributes(const Descriptor& from, const Descriptor& to) {
  struct stat old = {};
  if (fstat(from.number(), &old) == -1) return Reason(errno);
  std::string why = CopyOwner(old, to);
  if (why.empty()) why = CopyAcl(from, to);
  if (why.empty()) why = CopyExtended(from, to);
  if (why.empty() && fchmod(to.number(), old.st_mode & 07777U) == -1)
    why = Concat("a new file would not have the mode of the old one: ",
                 Reason(errno));
  return why;
}

}  // namespace fairlead::tool
