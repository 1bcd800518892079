// The rows of the table.
#pragma once

#include <string>

struct Row {
  const char* work;
  std::string floor;  ///< what it is measured against
  std::string goal;
  double measured;
  const char* unit = "";
};

void print(const Row& row);

void updateRows();
void scanRows();
void configurationRows();
void elementRows();
void logRows();

/// Runs one of the works whose instructions are counted from outside; false for an unknown name.
bool repeat(const std::string& name, long times);
