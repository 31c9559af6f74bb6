#pragma once

#include <string>
#include <utility>
#include <vector>

// What a program run by RunProgram left behind.
struct ProgramRun
{
    int exitStatus = -1; // -1 when the child did not start or did not exit normally
    std::string output;  // standard output
    std::string errors;  // standard error
    double wallSeconds = 0;
};

// Runs a program in a working directory with extra (or replaced) environment variables and waits
// for it. Its output is collected outside the working directory, so the directory holds only what
// the program itself wrote.
ProgramRun RunProgram(const std::string& executable, const std::vector<std::string>& args,
                      const std::string& workingDirectory,
                      const std::vector<std::pair<std::string, std::string>>& environment = {});

// Child-side steps shared by the ways tests start programs (between fork and exec): send one
// standard stream to a new private file, and replace the child with the program and its arguments.
void RedirectStreamTo(const std::string& path, int stream);
[[noreturn]] void ExecProgram(const std::string& executable, const std::vector<std::string>& args);
