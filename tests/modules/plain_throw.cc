// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/errors.h"

extern "C" int throwFromC(unsigned int value) { throw kw::trx::trx::TRXException(value); }
