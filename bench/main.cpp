// kiv_bench                 prints the table
// kiv_bench NAME TIMES      does one work so often, for who counts its instructions
#include <malloc.h>

#include <cstdio>
#include <cstdlib>

#include "bench/rows.h"

void print(const Row& row) {
  std::printf("%-58s %-42s %9.2f%-4s %s\n", row.work, row.floor.c_str(), row.measured, row.unit,
              row.goal.c_str());
}

int main(int count, char** arguments) {
  if (count == 3) return repeat(arguments[1], std::strtol(arguments[2], nullptr, 10)) ? 0 : 2;
  // Freed memory stays with the process: when the kernel hands out cleared pages is chance.
  mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
  mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
  std::printf("%-58s %-42s %9s     %s\n", "Work", "Floor", "Measured", "Goal");
  updateRows();
  scanRows();
  configurationRows();
  elementRows();
  logRows();
}
