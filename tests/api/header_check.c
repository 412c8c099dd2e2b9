/* The public header stands alone: nothing is included before it. */
#include "mpg/mpg.h"

typedef char MediaInfoHas344Bytes[sizeof(MediaInfo) == 344 ? 1 : -1];
