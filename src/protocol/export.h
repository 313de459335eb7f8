#pragma once

// Marks what the module shows to its host; everything else is hidden.
#define B2_EXPORT __attribute__((visibility("default")))
