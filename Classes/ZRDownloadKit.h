#pragma once

/// \file
/// Offline-video downloads for desktop players. A host includes this header, hands its main loop to
/// `ZRRunLoop::setMain` (or drives the default one), says who it is with `ZRHost::setCurrent`, and talks to
/// `ZRDownloadManager::sharedManager()` from then on.

#include "ZRDefaultRunLoop.h"
#include "ZRDownloadManager.h"
#include "ZRDownloadTask.h"
#include "ZRError.h"
#include "ZRExport.h"
#include "ZRHost.h"
#include "ZRHostCallbacks.h"
#include "ZRNotificationCenter.h"
#include "ZRRunLoop.h"
#include "ZRValue.h"

extern "C" {
/// The library's version as text, "major.minor.patch".
extern ZR_EXPORT const char ZRDownloadKitVersionString[];

/// The library's version as major.minor.
extern ZR_EXPORT const double ZRDownloadKitVersionNumber;
}
