#include <kiv/KIVBaseContainer.h>

KIVBaseContainer::~KIVBaseContainer() = default;
