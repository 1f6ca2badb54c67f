#include "e2e/Program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace fliprugair::e2e {

ProgramRun runProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& variables) {
  std::vector<std::string> words{"env"};
  words.insert(words.end(), variables.begin(), variables.end());
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
  const pid_t process = ::fork();
  if (process == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  ProgramRun run;
  std::array<char, 4096> buffer;
  for (ssize_t count = 0; (count = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
    run.output.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  int status = 0;
  ::waitpid(process, &status, 0);
  if (WIFEXITED(status)) run.exitStatus = WEXITSTATUS(status);
  return run;
}

}  // namespace fliprugair::e2e
