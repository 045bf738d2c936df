/* Checksums of what came back, one line for each subject, so that two runs can be compared line for line. */
#ifndef EXAMPLES_REPORT_H
#define EXAMPLES_REPORT_H

#include "window.h"

void begin_sum(void);
void add_bytes(const void* data, size_t size);
void add_text(const char* text);
void add_number(GLint number);
/* Adds the current read frame buffer from its lower left corner. */
void add_picture(struct size size);
/* Prints the sum. Fatal when an error is pending. */
void end_sum(const char* subject);

#endif
