#include "support/fixture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

std::vector<std::string> raw_lines(const std::string &name) {
    std::ifstream in(std::string(LUMIVANE_TEST_DATA) + "/" + name, std::ios::binary);
    EXPECT_TRUE(in) << "fixture " << name;
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string trimmed(const std::string &text) {
    const auto first = text.find_first_not_of(" \t"), last = text.find_last_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

} // namespace

std::string fixture_text(const std::string &name) {
    std::string text;
    bool heading = true;
    for (const std::string &line : raw_lines(name)) {
        heading = heading && line.starts_with("#");
        if (!heading)
            text += line + "\n";
    }
    return text;
}

std::vector<std::vector<std::string>> fixture_rows(const std::string &name, char separator) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string &line : raw_lines(name)) {
        if (trimmed(line).empty() || line.starts_with("#"))
            continue;
        std::vector<std::string> fields;
        std::istringstream in(line);
        for (std::string field; std::getline(in, field, separator);)
            fields.push_back(trimmed(field));
        rows.push_back(fields);
    }
    return rows;
}

std::vector<std::string> fixture_words(const std::string &field, char separator) {
    std::vector<std::string> words;
    std::istringstream in(field);
    for (std::string word; std::getline(in, word, separator);)
        words.push_back(word);
    return words;
}

std::vector<std::pair<std::string, std::string>> fixture_sections(const std::string &name) {
    std::vector<std::pair<std::string, std::string>> sections;
    for (const std::string &line : raw_lines(name)) {
        if (line.starts_with("== "))
            sections.emplace_back(line.substr(3), "");
        else if (!sections.empty())
            sections.back().second += line + "\n";
    }
    return sections;
}
