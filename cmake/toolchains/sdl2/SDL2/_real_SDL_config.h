/* SDL2's configuration for cross builds, which use SDL2's headers for their types only: the C
 * headers SDL_stdinc.h may include, and no CPU or driver features. */
#ifndef VELMORA_CROSS_SDL_CONFIG_H
#define VELMORA_CROSS_SDL_CONFIG_H

#include "SDL_platform.h"

#define HAVE_LIBC 1
#define STDC_HEADERS 1
#define HAVE_STDARG_H 1
#define HAVE_STDDEF_H 1
#define HAVE_STDINT_H 1
#define HAVE_STDLIB_H 1
#define HAVE_STRING_H 1

#endif
