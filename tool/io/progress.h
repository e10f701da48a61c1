// A progress bar for long transfers.

#ifndef FAIRLEAD_TOOL_IO_PROGRESS_H_
#define FAIRLEAD_TOOL_IO_PROGRESS_H_

#include <cstddef>
#include <string>

namespace fairlead::tool {

/// Returns the text of the bar: "[#####               ]  25% of 20.0 MB".
///
/// @param done more than `total` is drawn as `total`
/// @param total more than 0
std::string ProgressBar(std::size_t done, std::size_t total);

/// A bar on standard error, if it is a terminal and the tool is not quiet.
class Progress {
 public:
  explicit Progress(std::size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Erases the bar.
  ~Progress();

  /// Redraws the bar if the percentage has changed.
  void Show(std::size_t done);

 private:
  const std::size_t total_;
  const bool shown_;
  std::size_t percent_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_PROGRESS_H_
