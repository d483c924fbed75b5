// Marks what the library exports in addition to the host's interface: what programs drive it by.
#pragma once

#define SUBSTITUTE_API __attribute__((visibility("default")))
