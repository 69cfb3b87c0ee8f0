// Interfaces shared between the files of the text layer; not for its users.
#ifndef ZOVEXA_TIS_TIS_INTERNAL_H_
#define ZOVEXA_TIS_TIS_INTERNAL_H_

#include <locale.h>

#include "tis/tis.h"

// The glibc locale object behind loc (not NULL); valid until loc is freed.
locale_t TisLocaleHandle(const TisLocale *loc);

#endif  // ZOVEXA_TIS_TIS_INTERNAL_H_
