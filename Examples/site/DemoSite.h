#pragma once

#include "Answers.h"
#include "DemoOrigin.h"
#include "TaskRequest.h"

namespace site {

// The demo as a host sees it: what it answers the library about the origin's videos, and how it asks for each of them.

Answers demoAnswers(const DemoOrigin& origin);

TaskRequest demoHls();
TaskRequest demoMp4();
TaskRequest demoShare(const DemoOrigin& origin);

}  // namespace site
