// libc++ asks for this header on the phone; what it wants of it is in the C library here.
#pragma once

#include <locale.h>
