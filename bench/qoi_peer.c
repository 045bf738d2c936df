/* The peer's one-header library, made here. */
#define QOI_IMPLEMENTATION
#define QOI_NO_STDIO
#include <qoi.h>
