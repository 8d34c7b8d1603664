// Every resource id of the applet. Both language files include this header, so the English and
// Russian resources cannot drift apart.
#pragma once

#ifndef IDC_STATIC
#define IDC_STATIC (-1)
#endif

// ---------------------------------------------------------------------------------------------
// Language-neutral resources
// ---------------------------------------------------------------------------------------------
#define IDR_MANIFEST                123   // RT_MANIFEST activated by the shell for applets
#define IDI_APPLET                  140
#define IDI_HARDWARE_READERS        142
#define IDI_HARDWARE_RNG            143
#define IDI_HARDWARE_CARRIERS       144
#define IDB_WIZARD_HEADER           154   // 53 x 53, 16 colours
#define IDB_WIZARD_WATERMARK        312   // 145 x 290, 16 colours

// ---------------------------------------------------------------------------------------------
// Framework messages (data exchange)
// ---------------------------------------------------------------------------------------------
#define IDS_UI_NUMBER_RANGE         0xF103
#define IDS_UI_TEXT_TOO_LONG        0xF110
