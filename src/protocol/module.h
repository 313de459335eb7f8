#pragma once

#include "aerror.h"
#include "host_interfaces.h"

// The exported functions, as a host resolves them. None lets an exception escape.
//
// Order of calls: load; GetSupports, GetSupportProtocol (then FreeP on its text),
// GetProtocolVersion; BindLogger, BindAsyncQ; GetAuthType, GetAuthFields, GetOptFields; GetProtocol
// for each account, its options, Connect and operations, Release; UnbindAsyncQ, UnbindLogger;
// unload. Before unloading every operation must have ended and every protocol object been released;
// threads that used one may go on.
namespace module_api {

using GetSupports = int (*)();  // capability bits, 3
// A copy of the protocol's name, in `*out` and as result; freed with FreeP.
using GetSupportProtocol = char* (*)(char** out);
using GetProtocolVersion = const char* (*)();  // static text
// Makes a protocol object (an IProtocol_V2) in `*out`; false, `*out` untouched, when that fails.
using GetProtocol = bool (*)(const char* identifier, IProtocolManager* manager, void** out);
// A null pointer changes nothing and gives false. Neither takes ownership.
using BindAsyncQ = bool (*)(IAsyncQ* queue);
using BindLogger = bool (*)(ILog* log);
using UnbindAsyncQ = void (*)();
using UnbindLogger = void (*)();
using FreeP = void (*)(void* memory);  // null is ignored
using GetAuthType = int (*)();         // 4
// The account form and the option form as JSON. `*size` becomes the text's length; the buffer must
// hold one byte more. Neither pointer may be null, except the buffer for a `*size` of 0.
using GetAuthFields = AERROR (*)(char* buffer, int* size);
using GetOptFields = AERROR (*)(char* buffer, int* size);
using OnLoad = void (*)();

// A code's name, for a host that does not compile the names in; see GetAERRORA.
using GetCodeName = const char* (*)(AERROR code);

// These alone are exported under their decorated names.
inline constexpr char kOnLoadSymbol[] = "_Z6OnLoadv";
inline constexpr char kGetCodeNameSymbol[] = "_Z10GetAERRORA6AERROR";

}  // namespace module_api
