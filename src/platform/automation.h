// Everything of the automation platform: types, interfaces and functions.
#pragma once

#include "interfaces/dispatch.h"
#include "interfaces/errorinfo.h"
#include "interfaces/marshal.h"
#include "interfaces/threading.h"
#include "interfaces/unknown.h"
#include "platform/basetypes.h"
#include "platform/combase.h"
#include "platform/errors.h"
#include "platform/faultguard.h"
#include "platform/oleauto.h"
#include "platform/system.h"
#include "platform/typedesc.h"
#include "platform/variant.h"
