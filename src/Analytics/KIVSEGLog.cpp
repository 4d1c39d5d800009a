#include "Analytics/KIVSEGLog.h"

std::atomic<bool> kivSegLogEnabled{false};
