// What the library shows beyond the host's own interface: what programs drive the host by.
#pragma once

#define SUBSTITUTE_API __attribute__((visibility("default")))
