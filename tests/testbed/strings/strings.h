// Ids of the test string module.
#pragma once

#define IDS_BOTH_LANGUAGES 200  // in English and in Russian
#define IDS_ENGLISH_ONLY 201
