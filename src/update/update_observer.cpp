#include "update/update_observer.h"

#include <algorithm>

bool pause(DWORD milliseconds) {
  constexpr DWORD LONGEST_SLICE = 1000;
  if (updateObserver() == nullptr) {
    Sleep(milliseconds);
    return true;
  }
  for (DWORD rest = milliseconds; rest > 0;) {
    if (!goesOn()) return false;
    const DWORD slice = std::min(rest, LONGEST_SLICE);
    Sleep(slice);
    rest -= slice;
  }
  return goesOn();
}
