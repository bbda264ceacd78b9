/* Umbrella header: the whole public interface of libtevra_util. */
#ifndef TEVRA_H
#define TEVRA_H

#include "TEVRA_Export.h"
#include "TEVRA_Version.h"
#include "TEVRA_Util.h"
#include "TEVRA_Error.h"
#include "TEVRA_ArrayList.h"
#include "TEVRA_BitSet.h"
#include "TEVRA_Lock.h"
#include "TEVRA_Stream.h"
#include "TEVRA_BigInteger.h"
#include "TEVRA_UString.h"
#include "TEVRA_DSO.h"
#include "TEVRA_Time.h"
#include "TEVRA_JSON.h"

#endif
