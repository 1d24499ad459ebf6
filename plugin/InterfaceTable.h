/** The plug-in's interface table. */
#pragma once

#include "plugin/OndreQORHIDStatisticsInterface.h"

/** 18 slots; each entry forwards to the member of the same name. */
extern const OndreQORHIDStatisticsTable kInterfaceTable;
