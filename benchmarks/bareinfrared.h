/* SPDX-License-Identifier: MIT */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* The least that an infrared upload can cost: reads the file, builds the frames and sends each three times.
   Returns the number of blocks sent, or -1. */
long bareInfraredUpload(const char *fileName);

#ifdef __cplusplus
}
#endif
