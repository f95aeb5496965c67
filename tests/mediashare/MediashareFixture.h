// Fixture of the media-share tests.
#pragma once

#include "support/FamilyFixture.h"

class MediashareTest : public FamilyTest<FalMediaShareLdb, API_TYPE_MEDIASHARE> {};

