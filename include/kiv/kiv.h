#pragma once

/// All that an application needs.

#include <kiv/EvaluationContext.h>
#include <kiv/KIVBaseContainer.h>
#include <kiv/KIVBooleanSwitchTableViewCell.h>
#include <kiv/KIVClassRegistry.h>
#include <kiv/KIVCore.h>
#include <kiv/KIVCustomProperty.h>
#include <kiv/KIVDate.h>
#include <kiv/KIVDouble.h>
#include <kiv/KIVDynamicAPI.h>
#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVEndpoints.h>
#include <kiv/KIVException.h>
#include <kiv/KIVFetcherResult.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/KIVFlagsViewController.h>
#include <kiv/KIVFreezeLevel.h>
#include <kiv/KIVHost.h>
#include <kiv/KIVInt.h>
#include <kiv/KIVMultiVariantTableViewCell.h>
#include <kiv/KIVNamedOperations.h>
#include <kiv/KIVNetworkConfigurationsOptions.h>
#include <kiv/KIVNonnullString.h>
#include <kiv/KIVNotifications.h>
#include <kiv/KIVOptions.h>
#include <kiv/KIVReportingValue.h>
#include <kiv/KIVString.h>
#include <kiv/KIVVariantTableViewCell.h>
#include <kiv/KivxValue.h>
#include <kiv/NotificationCenter.h>
#include <kiv/TypeMark.h>
