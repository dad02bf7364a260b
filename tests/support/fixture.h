// Fixture files under tests/data/.  Each starts with "#" lines saying what it
// holds; the readers drop them.
#pragma once

#include <string>
#include <utility>
#include <vector>

// The whole text after the leading "#" lines.
std::string fixture_text(const std::string &name);
// The lines that are neither blank nor "#" lines, each split at `separator`
// with the blanks around every field trimmed.
std::vector<std::vector<std::string>> fixture_rows(const std::string &name, char separator = '|');
// The parts of a field split at `separator` (none for an empty field).
std::vector<std::string> fixture_words(const std::string &field, char separator = ';');
// Sections: a line "== <title>" starts one, which holds the text of the lines
// up to the next such line.
std::vector<std::pair<std::string, std::string>> fixture_sections(const std::string &name);
