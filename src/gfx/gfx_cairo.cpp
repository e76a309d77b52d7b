#include "gfx.h"
