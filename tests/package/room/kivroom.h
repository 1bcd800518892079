/* A simulated tape room around kiv, for hosts of any language that are tested. */
#ifndef KIVROOM_H
#define KIVROOM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* From here on kiv sees the default room instead of this machine's devices. 0 for success. */
int32_t kivroom_open(void);
/* Writes a firmware image that brings a simulated drive to a level of four characters. 0 for success. */
int32_t kivroom_image(const char* file, const char* level, uint32_t bytes);
/* Ends the room; how many handles were left open in it. */
int32_t kivroom_close(void);

#ifdef __cplusplus
}
#endif

#endif
