// Dialog ids of the stand-in libraries' configuration windows.
#pragma once

#define IDD_READERS 100
#define IDD_CARRIERS 101
#define IDD_RNG 100
