#pragma once
// Umbrella header of the VeyraKit library.
#include "veyrakit/QMCustomMetadata.h"
#include "veyrakit/QMDiagnosticCollectors.h"
#include "veyrakit/QMVeyraKit.h"
#include "veyrakit/VeyraKitGlobals.h"
