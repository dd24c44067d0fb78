/// The whole library in one include.
#pragma once

#include "Vq/Allocation.h"
#include "Vq/AttribValuePair.h"
#include "Vq/LightweightString.h"
#include "Vq/LightweightVector.h"
#include "Vq/Platform.h"
#include "Vq/Ptr.h"
#include "Vq/RefCount.h"
#include "Vq/StdAllocator.h"
#include "Vq/String.h"
#include "Vq/StringSplit.h"
#include "Vq/System.h"
#include "Vq/VqCheck.h"
#include "Vq/VqIniFile.h"
