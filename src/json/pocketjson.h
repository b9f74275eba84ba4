// pocketjson: the value model, the parser and the serializer in one include.
#pragma once

#include "json/number_text.h"
#include "json/parser.h"
#include "json/serializer.h"
#include "json/value.h"
