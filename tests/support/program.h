#pragma once

#include <sys/types.h>
#include <tovik/descriptor.h>

#include <string>
#include <vector>

namespace testing_support {

/// A child process whose output is gathered. Killed if it still runs when this goes.
class Program {
 public:
  using Arguments = std::vector<std::string>;

  /// environment: "NAME=value" lines, added to this process's own.
  explicit Program(const Arguments& arguments, const Arguments& environment = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  void signal(int number) const;
  /// The first line of its standard output, as soon as it is there.
  std::string firstLine();
  std::string firstErrorLine();
  /// As a reader that has seen enough.
  void closeOutput() { outputPipe_.close(); }
  /// Waits for its end: the exit code, or 1000 and the signal's number. 2000 when it outlived the deadline.
  int wait();

  const std::string& output() const { return output_; }
  const std::string& errors() const { return errors_; }

 private:
  std::string firstLineOf(const std::string& text);
  bool gather();

  pid_t process_ = -1;
  tovik::Descriptor outputPipe_;
  tovik::Descriptor errorPipe_;
  std::string output_;
  std::string errors_;
};

/// A child process that has a terminal of its own for everything, as if a person had started it.
class TerminalProgram {
 public:
  /// Why no terminal can be made here, for a test that skips itself then; null where one can.
  static const char* missing();

  TerminalProgram(const Program::Arguments& arguments, unsigned short columns);
  TerminalProgram(const TerminalProgram&) = delete;
  TerminalProgram& operator=(const TerminalProgram&) = delete;
  ~TerminalProgram();

  void type(const std::string& text) const;
  /// Gathers what it shows until that text has been shown; false at the program's end.
  bool showsUntil(const std::string& text);
  int wait();
  /// Everything shown so far.
  const std::string& shown() const { return shown_; }

 private:
  bool gather();

  pid_t process_ = -1;
  tovik::Descriptor terminal_;
  std::string shown_;
};

/// Runs a program to its end.
struct Finished {
  int exitCode;
  std::string output;
  std::string errors;
};
Finished finish(const Program::Arguments& arguments, const Program::Arguments& environment = {});

}  // namespace testing_support
