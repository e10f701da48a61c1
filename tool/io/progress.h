// How far a long send has come.

#ifndef FAIRLEAD_TOOL_IO_PROGRESS_H_
#define FAIRLEAD_TOOL_IO_PROGRESS_H_

#include <cstddef>
#include <string>

namespace fairlead::tool {

/// The bar's text: "[#####               ]  25% of 20.0 MB".
///
/// @param total more than 0
std::string ProgressBar(std::size_t done, std::size_t total);

/// A bar on standard error, where that is a terminal and the tool is not quiet.
class Progress {
 public:
  explicit Progress(std::size_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Takes the bar away.
  ~Progress();

  /// Draws the bar anew when the percentage has changed.
  void Show(std::size_t done);

 private:
  const std::size_t total_;
  const bool shown_;
  std::size_t percent_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_PROGRESS_H_
