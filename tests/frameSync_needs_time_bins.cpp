#include "binning/Binning_Events.h"

#ifdef WITHOUT_TIME_BINS
template class Binning_Events_TimeIntegrated<Parameters::frameSync>;
#else
template class Binning_Events_TimeResolved<Parameters::frameSync>;
#endif
