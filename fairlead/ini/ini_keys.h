// The keys of a document, found without visiting its lines.

#ifndef FAIRLEAD_INI_INI_KEYS_H_
#define FAIRLEAD_INI_INI_KEYS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/ini/ini_document.h"

namespace fairlead {

/// An index of the keys of a document: for comparing large files.
///
/// Of several keys of one name in a section, it has the one that counts.
/// @code
/// const fairlead::IniDocument document("[net]\nport=80\nport=7000\n");
/// const fairlead::IniKeys keys(document);
/// // keys.Find("net", "port")->value == "7000"
/// @endcode
/// @par Errors
/// The constructor throws std::bad_alloc, and so does Find() if an edit has
/// enabled or disabled lines of the document. Nothing else.
/// @par Thread safety
/// Any number of threads may read one object.
/// @par Cost
/// The constructor visits each line four times, and takes some six bytes for
/// each name and half a byte for each line. A search takes the same time in
/// documents of all sizes.
class FAIRLEAD_EXPORT IniKeys {
 public:
  enum class Which {
    kCounting,     ///< Without disabled ones in the live reading.
    kDisabledToo,  ///< With those, for names that no active key has.
  };

  /// Indexes a document, which must exist as long as the index and not be
  /// edited.
  explicit IniKeys(const IniDocument& document, Which which = Which::kCounting);

  /// Returns the number of names.
  std::size_t size() const noexcept { return size_; }

  /// Returns the key that counts, of those with this name in this section.
  std::optional<IniEntry> Find(std::string_view section,
                               std::string_view key) const;

  /// Returns whether an entry of the document is an indexed key, and no key
  /// above it has its section and name.
  bool IsFirst(const IniEntry& entry) const;

 private:
  static constexpr std::uint32_t kFree = UINT32_MAX;

  // A line, its section, and the hash of their names.
  struct Key {
    std::size_t line;
    std::size_t header;
    std::uint64_t hash;
  };
  // What a walk over the lines knows above one of them.
  struct Walk {
    std::uint32_t header;
    std::uint32_t disabled_header;
  };

  template <typename Use>
  FAIRLEAD_PRIVATE void ForEachKey(Which which, Use use) const;
  FAIRLEAD_PRIVATE void NoteWalks();
  FAIRLEAD_PRIVATE bool Fill(Which which, std::size_t names);
  FAIRLEAD_PRIVATE void Add(const Key& key);
  FAIRLEAD_PRIVATE std::size_t HeaderOf(std::size_t line) const;
  FAIRLEAD_PRIVATE std::size_t SlotOf(std::string_view section,
                                      std::string_view key,
                                      std::uint64_t hash) const;

  const internal::LineTable* lines_;
  std::vector<std::uint32_t> slots_;  // The lines of keys, or kFree.
  std::vector<bool> is_first_;        // By line.
  std::size_t size_ = 0;
  std::vector<Walk> walks_;  // At every 32nd line.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_KEYS_H_
