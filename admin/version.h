// The tool's version: the product's, in its resources and in --version alike.
#pragma once

#define KV_ADMIN_VERSION_NUMBERS 5, 0, 0, 1
#define KV_ADMIN_VERSION_TEXT "5.0.0.1"
