#pragma once

// A host app may have RapidJSON with other settings.
#define RAPIDJSON_NAMESPACE fliprugair::rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace fliprugair::rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
