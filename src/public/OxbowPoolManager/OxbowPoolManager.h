#ifndef OXBOW_OXBOW_POOL_MANAGER_H
#define OXBOW_OXBOW_POOL_MANAGER_H

/** \file
    All of the public headers. */

#include <OxbowPoolManager/OxbowExceptions.h>
#include <OxbowPoolManager/OxbowPoolManager_Module.h>
#include <OxbowPoolManager/OxbowRpm_BStreamRead.h>
#include <OxbowPoolManager/OxbowRpm_BStreamReadBuffer.h>
#include <OxbowPoolManager/OxbowRpm_BStreamReadLocator.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWrite.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWriteBuffer.h>
#include <OxbowPoolManager/OxbowRpm_BStreamWriteLocator.h>
#include <OxbowPoolManager/OxbowRpm_Document.h>
#include <OxbowPoolManager/OxbowRpm_File.h>
#include <OxbowPoolManager/OxbowRpm_FileNameBuffer.h>
#include <OxbowPoolManager/OxbowRpm_Locator.h>
#include <OxbowPoolManager/OxbowRpm_Pool.h>
#include <OxbowPoolManager/OxbowRpm_PoolDirectory.h>
#include <OxbowPoolManager/OxbowRpm_ServiceNameBuffer.h>
#include <OxbowPoolManager/OxbowRpm_Swapper.h>
#include <OxbowPoolManager/OxbowRpm_Util.h>
#include <OxbowPoolManager/base/FennelExcNoEntropy.h>
#include <OxbowPoolManager/base/OxbowRpm_Assert.h>

#endif
