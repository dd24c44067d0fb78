#include "Vq/Platform.h"

template class Vq::Ptr<iFile>;
template class Vq::Ptr<iCriticalSection>;
