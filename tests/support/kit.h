// What tests of whole operations are made of; the standard headers of its interfaces come along.
#pragma once

#include "mpg/mpg.h"
#include "support/audio.h"
#include "support/host.h"
#include "support/media.h"
#include "support/pictures.h"
#include "support/probe.h"
