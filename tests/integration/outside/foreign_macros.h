// The macros of other libraries' headers that collide with names in use here: those of X.h and
// Xlib.h, of glib, of the Objective-C runtime, and of the headers that imitate Windows.
#pragma once

#define Bool int
#define Status int
#define True 1
#define False 0
#define None 0L
#define Success 0
#define Always 2

#undef TRUE
#undef FALSE
#define FALSE (0)
#define TRUE (!FALSE)

#define YES 1
#define NO 0

#define BOOL int
#define MAX_PATH 260
#define S_OK 0
#define S_FALSE 1
#define E_FAIL 0x80004005
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))
