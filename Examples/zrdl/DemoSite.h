#pragma once

#include "DemoOrigin.h"
#include "SiteAnswers.h"
#include "TaskRequest.h"

namespace zrdl {

// The demo as a host sees it: what it answers the library about the origin's videos, and how it asks for each of them.

SiteAnswers demoAnswers(const DemoOrigin& origin);

TaskRequest demoHls();
TaskRequest demoMp4();
TaskRequest demoShare(const DemoOrigin& origin);

}  // namespace zrdl
