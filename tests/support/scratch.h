// Scratch directories for tests that write files.
#pragma once

#include <string>

// Creates a fresh directory for the whole test program, enters it and removes
// it when the program ends.
void scratch_enter_process_directory();

// A fresh directory entered for the lifetime of the guard.
class scratch_directory {
  public:
    scratch_directory();
    ~scratch_directory();
    scratch_directory(const scratch_directory &) = delete;
    scratch_directory &operator=(const scratch_directory &) = delete;
    const std::string &path() const { return path_; }

  private:
    std::string path_;
    std::string previous_;
};

// Whole-file helpers.
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &contents);
bool file_exists(const std::string &path);
