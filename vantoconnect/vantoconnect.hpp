#pragma once

// Everything an application uses, in one include.

#include "vantoconnect/Result.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoMessageResponse.hpp"
#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
