#include "analyzer.h"
