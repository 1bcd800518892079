// A host whose memory runs out between its calls: they end with a result, and the next one with memory is
// whole.
#include <kiv/kiv.h>
#include <kiv/kiv_c.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

struct Block {
  Block* next;
};

Block* takeAllMemory() {
  Block* held = nullptr;
  for (std::size_t size = 1 << 28; size >= sizeof(Block);) {
    if (auto* block = static_cast<Block*>(std::malloc(size))) {
      block->next = held;
      held = block;
    } else {
      size /= 2;
    }
  }
  return held;
}

void giveBack(Block* held) {
  while (held != nullptr) std::free(std::exchange(held, held->next));
}

}  // namespace

int main() {
  kivInit();
  const int before = scanScsiBus(0);
  Block* const held = takeAllMemory();
  const int without = scanScsiBus(0);
  const int closed = kiv_close();
  giveBack(held);
  const int after = scanScsiBus(0);
  kivFini();
  std::printf("%d %d %d %d\n", before, without, closed, after);
  return without == KIV_NO_MEMORY && closed == KIV_OK && before == after ? 0 : 1;
}
