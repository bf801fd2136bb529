// The entry points of the Corvex driver library, the performance-counter
// library that gives access to bandwidth data.
//
// The library is not linked: the host loads it as a module and hands the
// handle to the plug-in environment, which looks each entry point up by the
// name below every time it uses it. Entry points use C linkage and the
// platform's default calling convention, and report success with 0.
//
// This header only names types and may be included by code that does not link
// vantrycommon (a stand-in library in the tests, for one).
#pragma once

extern "C" {

// Configures collection from the named configuration file.
typedef int (*CORVEX_Config_Event_fn)(const char* configFileName);
// Copies the text of the last error, cut to size - 1 characters and
// terminated, into buffer.
typedef int (*CORVEX_Get_Error_Message_fn)(char* buffer, unsigned int size);
// The library's version.
typedef int (*CORVEX_Get_Version_fn)(unsigned int* major, unsigned int* minor, unsigned int* patch);
typedef int (*CORVEX_Start_Collection_fn)(void);
typedef int (*CORVEX_Stop_Collection_fn)(void);

}  // extern "C"

// The names the entry points are looked up by.
#define CORVEX_CONFIG_EVENT_NAME "CORVEX_Config_Event"
#define CORVEX_GET_ERROR_MESSAGE_NAME "CORVEX_Get_Error_Message"
#define CORVEX_GET_VERSION_NAME "CORVEX_Get_Version"
#define CORVEX_START_COLLECTION_NAME "CORVEX_Start_Collection"
#define CORVEX_STOP_COLLECTION_NAME "CORVEX_Stop_Collection"
