// Tests that kill a Studio or run one under limits re-execute the test program as a child: an
// environment variable names the child's role and its folder, and the child reports lines on a
// pipe. Children keep their temporary files inside the parent's temporary folder.
#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace tw::testing {

constexpr const char* reportVariable = "TAPEWRIGHT_REPORT_FD";

// Tells the parent a line (the child's side of the pipe).
inline void report(int fd, const std::string& line)
{
    const std::string text = line + "\n";
    (void)!::write(fd, text.data(), text.size());
}

// When this program was started as the child of role variable, runs role(folder, report fd) and
// exits with its result before any test runs. Use at namespace scope:
// `const bool isChild = childRole("TAPEWRIGHT_X_CHILD", recordSomething);`
inline bool childRole(const char* variable, int (*role)(const std::filesystem::path&, int))
{
    const char* folder = std::getenv(variable);
    const char* fd = std::getenv(reportVariable);
    if (!folder || !fd)
        return false;
    std::_Exit(role(folder, std::atoi(fd)));
}

struct Child {
    pid_t pid = -1;
    int fd = -1;
    std::string partial; // a line not yet complete

    // Starts this program again as the child of role variable on folder.
    Child(const char* variable, const std::filesystem::path& folder)
    {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
        std::vector<std::string> variables;
        for (char** entry = environ; *entry; ++entry)
            variables.emplace_back(*entry);
        variables.push_back(std::string(variable) + "=" + folder.string());
        variables.push_back(std::string(reportVariable) + "=" + std::to_string(fds[1]));
        variables.push_back("TMPDIR=" + folder.parent_path().string());
        std::vector<char*> envp;
        for (std::string& entry : variables)
            envp.push_back(entry.data());
        envp.push_back(nullptr);
        char program[] = "/proc/self/exe";
        char* argv[] = {program, nullptr};
        pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::execve(program, argv, envp.data());
            ::_exit(127);
        }
        ::close(fds[1]);
        fd = fds[0];
    }

    // Reads once what the child said, adding its complete lines; false at the end of its output.
    bool read(std::vector<std::string>& lines)
    {
        char buffer[4096];
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got <= 0)
            return false;
        partial.append(buffer, static_cast<std::size_t>(got));
        for (std::size_t end; (end = partial.find('\n')) != std::string::npos;) {
            lines.push_back(partial.substr(0, end));
            partial.erase(0, end + 1);
        }
        return true;
    }

    // Reads the child to the end of its output and reaps it; its wait status.
    int finish(std::vector<std::string>& lines)
    {
        while (read(lines)) {
        }
        ::close(fd);
        int status = -1;
        ::waitpid(pid, &status, 0);
        return status;
    }
};

} // namespace tw::testing
