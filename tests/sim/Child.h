#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace fliprugair::sim {

/// The simulator as a program of its own, driven through pipes. One thread.
class Child {
 public:
  explicit Child(std::vector<std::string> arguments = {});
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Writes to its standard input.
  void write(const std::string& text);
  /// Ends its standard input.
  void closeInput();
  /// The next line of its standard output; "" at the end, or when none comes within a minute.
  std::string readLine();
  /// What is left of its standard output, up to the end.
  std::string readAll();

  struct End {
    int status;          ///< -1 when it was ended by a signal
    long peakKibibytes;  ///< of memory that was resident
  };
  /// Ends the input, drops what is left of the output and waits for the end.
  End wait();

  /// What it wrote to standard error; valid after `wait`.
  const std::string& errors() const { return errors_; }

 private:
  bool fill();

  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  int errorFile_ = -1;
  std::string buffer_;
  std::string errors_;
};

struct Outcome {
  int status;
  std::string output;
  std::string errors;
};

/// Runs the simulator with `script` on standard input.
Outcome outcomeOf(const std::string& script, std::vector<std::string> arguments = {});

}  // namespace fliprugair::sim
