/* A host on the C interface: scans, plans and updates a drive of the default room. The same source serves
 * C99, C++20 and Microsoft's ABI without a header of Microsoft's. */
#include <kiv/kiv.h>
#include <kiv/kiv_c.h>

#include "kivroom.h"

#ifdef _MSC_VER
#ifdef __cplusplus
extern "C"
#endif
    int
    printf(const char*, ...);
#else
#include <stdio.h>
#endif

static kiv_info info = {sizeof info};
static kiv_plan_info plan = {sizeof plan};
static kiv_update_result result = {sizeof result};
static kiv_error error = {sizeof error};
static int lines, calls, phases, failed;

static void takeLine(int32_t level, const char* line, void* user) {
  if (level <= KIV_LOG_DEBUG && *line && user == &lines) ++lines;
}

static int32_t follow(const kiv_progress* progress, void* user) {
  if (progress->size != sizeof *progress || user != &calls) failed = 1;
  phases |= 1 << progress->phase;
  ++calls;
  return 0;
}

static void check(const char* what, int32_t code) {
  printf("%s: %s\n", what, kiv_result_name(code));
  if (code == KIV_OK) return;
  failed = 1;
  kiv_last_error(&error);
  printf("%s\n", error.text);
}

int main(void) {
  const uint32_t all = (1u << KIV_PHASE_COUNT) - 1;
  kiv_device drive;
  uint32_t i;
  if (kivroom_open() != 0 || kivroom_image("px6_e6q4.bin", "E6Q4", 100000) != 0) return 2;
  check("log", kiv_set_log(KIV_LOG_DEBUG, takeLine, &lines));
  check("scan", kiv_scan(KIV_SCAN_LIBRARIES));
  for (i = 0; i < kiv_device_count(); ++i) {
    kiv_device_info(kiv_device_at(i), &info);
    printf("  %s %s %s\n", info.serial, info.product_string, info.level);
  }
  drive = kiv_device_find("1068000451");
  check("plan", kiv_plan(drive, 0, &plan));
  printf("  %s: %s\n", kiv_verdict_name(plan.verdict), plan.text);
  check("update", kiv_update(drive, 0, follow, &calls, &result));
  printf("  %s\n", result.text);
  check("close", kiv_close());
  printf("%s %s\n", kiv_version(), getKivVersion());
  if (!result.verified || (uint32_t)phases != all || calls < 40 || lines < 100 || kivroom_close() != 0)
    failed = 1;
  return failed;
}
