// Reads what tools have printed and prints what was read: for each line of standard input, an
// object with what to read and how, a line with a text (reading_text.h). second_reader.py compares
// it.
#include <iostream>
#include <nlohmann/json.hpp>

#include "drivetest/reading_text.h"

int main() {
  using nlohmann::json;
  for (std::string line; std::getline(std::cin, line);) {
    const json question = json::parse(line);
    const drivetest::ToolOutput output{question.at("text"), question.at("errors"),
                                       question.at("status")};
    std::cout << json(drivetest::reading_of(question.at("way"), output)).dump() << '\n';
  }
  return 0;
}
