// kiv_load_time FLOOR.dll WORK.dll      prints how many milliseconds more the second takes to load than the
// first
#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int PAIRS = 100;

LONGLONG ticks() {
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  return now.QuadPart;
}

/// What it brings along is loaded anew each time, too: nothing else in this process holds it.
LONGLONG loadTime(const char* name) {
  const LONGLONG start = ticks();
  const HMODULE library = LoadLibraryA(name);
  const LONGLONG time = ticks() - start;
  if (library == nullptr) {
    std::fprintf(stderr, "%s does not load: %lu\n", name, GetLastError());
    ExitProcess(1);
  }
  FreeLibrary(library);
  return time;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  LONGLONG floor = loadTime(arguments[1]);
  LONGLONG work = loadTime(arguments[2]);
  for (int i = 0; i < PAIRS; ++i) {
    floor = std::min(floor, loadTime(arguments[1]));
    work = std::min(work, loadTime(arguments[2]));
  }
  LARGE_INTEGER perSecond;
  QueryPerformanceFrequency(&perSecond);
  std::printf("%.2f", 1000.0 * static_cast<double>(work - floor) / static_cast<double>(perSecond.QuadPart));
  return 0;
}
