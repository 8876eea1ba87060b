/* The interpreter services (libvklinterp.so): interpreter states with their user and rights,
 * the function registry, private values and system parameters, the stop request, calls of
 * function values, named-object managers, host settings with their change notification,
 * import/export formats and the interpreter's service callback.
 *
 * A state made by VKL_InterpNewState is a kernel state (every kernel operation takes it) that
 * also carries the interpreter's data. Process-wide services (registry, user rights, object
 * managers, settings, formats) take no state or accept a null one.
 */
#ifndef VKL_INTERP_H
#define VKL_INTERP_H

#include <vkl/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- States ---- */

/* A new interpreter state: user and original user are the operating-system user. */
VKL_API VKL_State* VKL_InterpNewState(void);
VKL_API void VKL_InterpFreeState(VKL_State* L);
/* A pointer the host program (the script evaluator) keeps in the state. */
VKL_API void* VKL_InterpGetHostData(VKL_State* L);
VKL_API void VKL_InterpSetHostData(VKL_State* L, void* data);

/* ---- Function registry (process-wide; L may be null) ----
 * Names are stored lower case; lookup ignores case and is O(1) on average. Registering a name
 * again replaces its handler. */

typedef struct VKL_FunctionEntry {
  const char* name;
  VKL_Handler handler;
} VKL_FunctionEntry;

/* The registration callback handed to PKG_Init (this function). Returns the number of entries
 * registered. */
typedef int (*VKL_RegisterTableFn)(VKL_State* L, int count, const VKL_FunctionEntry* table);
VKL_API int registerTable(VKL_State* L, int count, const VKL_FunctionEntry* table);
VKL_API int vklL_register(VKL_State* L, const char* name, VKL_Handler handler);
/* flags1 and flags2 are recorded with the name (VKL_FunctionFlags) and not otherwise used. */
VKL_API int vklL_registerEx(VKL_State* L, const char* name, VKL_Handler handler, int flags1,
                            int flags2);
/* The handler of a name (`len` bytes; negative: up to the zero), or null. */
VKL_API VKL_Handler VKL_FindFunction(const char* name, int64_t len);
/* 1 and the two flags of vklL_registerEx (0, 0 for other registrations) when registered. */
VKL_API int VKL_FunctionFlags(const char* name, int* flags1, int* flags2);
/* Registered names in registration order (a replaced name keeps its first place). */
VKL_API int64_t VKL_FunctionCount(void);
VKL_API const char* VKL_FunctionName(int64_t index);

/* ---- Users and rights ----
 * Rights belong to user names (process-wide). A user never given rights holds none; the host
 * gives its own user every right at start. */

enum {
  VKL_RIGHT_SYS = 1,        /* system functions: processes, files, environment, users */
  VKL_RIGHT_WRITE = 2,      /* writing request output */
  VKL_RIGHT_HIGHLEVEL = 4,  /* high-level security: system-wide named objects */
  VKL_RIGHT_CLASS = 8,      /* script classes */
  VKL_RIGHT_ALL = 15
};

VKL_API void VKL_SetUserRights(const char* user, unsigned rights);
VKL_API unsigned VKL_GetUserRights(const char* user);
/* The state's user (whose rights are checked) and original user (who started the run); a null
 * name leaves that one as it is. A null or plain kernel state has the user "". */
VKL_API void VKL_SetUser(VKL_State* L, const char* user, const char* origUser);
VKL_API const char* VKL_GetUserNameFromL(VKL_State* L);
VKL_API const char* VKL_GetOrigUserID(VKL_State* L);
/* 1 when the user holds the right. */
VKL_API int VKL_CheckSysRight(const char* user);
/* The state's user holds the write / high-level / class right. `resource` and `level` name what
 * is asked for; this host grants by the right alone. */
VKL_API int VKL_CheckWriteSecurity(VKL_State* L);
VKL_API int VKL_CheckHighLevelSecurity(VKL_State* L, const char* resource, int level);
VKL_API int VKL_CheckClassSecurity(VKL_State* L, const char* className);

/* ---- Private values and system parameters ---- */

enum {
  VKL_PV_PRIVATE_PREFIX = 17, /* value <- the state's private prefix (a narrow string) */
  VKL_PV_WRITE_SYSPARAM = 32, /* the parameter `name` <- a copy of value */
  VKL_PV_READ_SYSPARAM = 33   /* value <- a copy of the parameter `name` (nil when unset) */
};
/* `name` is a narrow string cell (unused for selector 17). Returns 1 on success, 0 for an
 * unknown selector or a bad name. System parameter names are compared exactly. */
VKL_API int rwPrivateValue(VKL_State* L, int selector, const TObject* name, TObject* value);
/* The prefix read by selector 17 (default "vkl_" followed by the state's user name; a null
 * prefix returns to that default). */
VKL_API void VKL_SetPrivatePrefix(VKL_State* L, const char* prefix);
/* `result` becomes a table of every current system parameter (name: value). */
VKL_API int VKL_GetSysParams(VKL_State* L, TObject* result);
/* Saves the current parameters as the state's defaults, which VKL_ResetSysParams restores;
 * `result` becomes the number of parameters saved. */
VKL_API int VKL_SetSysParams(VKL_State* L, TObject* result);
/* Drops the saved defaults and every current parameter. */
VKL_API void VKL_FreeSysParams(VKL_State* L);
/* The current parameters become the saved defaults again (empty when none were saved). */
VKL_API void VKL_ResetSysParams(VKL_State* L);

/* ---- Stop request ---- */

/* 1 when the run of this state is asked to stop (VKL_InterpSetStop, or VKL_InterpStopAll). */
VKL_API int VKL_InterpIsStopL(VKL_State* L);
VKL_API void VKL_InterpSetStop(VKL_State* L, int stop);
/* Asks every state to stop (async-signal-safe, for a SIGINT handler); 0 clears it. */
VKL_API void VKL_InterpStopAll(int stop);

/* ---- Calls of function values ----
 * A function value (kind 12) is the host program's; it installs the hook that calls one. */

typedef int (*VKL_CallHook)(VKL_State* L, const TObject* function, TObject* args, int nargs,
                            TObject* result);
VKL_API void VKL_InterpSetCallHook(VKL_State* L, VKL_CallHook hook);
/* Calls a function value with `nargs` argument cells; 1 when it produced `result`, 0 when the
 * call failed (not a function value, no hook, or the function failed). */
VKL_API int raw_call2(VKL_State* L, const TObject* function, TObject* args, int nargs,
                      TObject* result);

/* Script classes: the host program's class-instantiation service (may throw); 0 when absent. */
typedef int (*VKL_ClassHook)(VKL_State* L, TObject* args, int nargs, TObject* result);
VKL_API void VKL_InterpSetClassHook(VKL_State* L, VKL_ClassHook hook);
VKL_API int VKL_InstantiateClass(VKL_State* L, TObject* args, int nargs, TObject* result);

/* The header of the host objects of kinds 16, 23, 36 and 38: the box data points at it. */
typedef struct VKL_HostObject {
  const char* class_name;
  int32_t state;
} VKL_HostObject;

/* ---- Named objects ----
 * A manager knows how to create, free and call one type of library object. An object made by
 * VKL_NewAny / VKL_NewAnyEx belongs to the caller until VKL_SetTypeAny puts it into a cell
 * (kind 7, shared by copies of the cell; the free callback runs when the last copy goes), or
 * VKL_FreeAny frees it. */

typedef struct VKL_AnyMan VKL_AnyMan;
typedef struct VKL_Any VKL_Any;
/* Returns the object's data, or null when nothing is created. */
typedef void* (*VKL_AnyCreateFn)(VKL_State* L, TObject* args, int nargs);
typedef void (*VKL_AnyFreeFn)(VKL_State* L, void* data);
/* Method call: 1 result set, 0 the call failed, -1 no such method. */
typedef int (*VKL_AnyMethodFn)(VKL_State* L, void* data, const char* method, TObject* args,
                               int nargs, TObject* result);

VKL_API VKL_AnyMan* VKL_NewAnyMan(const char* typeName, VKL_AnyCreateFn create,
                                  VKL_AnyFreeFn free, VKL_AnyMethodFn method, int flags,
                                  const char* declaration);
/* Registers a manager under a type name (compared without regard to case); 0 when taken. */
VKL_API int VKL_RegisterAnyMan(const char* typeName, VKL_AnyMan* man);
VKL_API VKL_AnyMan* VKL_FindAnyMan(const char* typeName);
VKL_API const char* VKL_AnyManTypeName(const VKL_AnyMan* man);
VKL_API const char* VKL_AnyManDeclaration(const VKL_AnyMan* man);
/* Creates an object of a registered type (or of a manager) from creation arguments; null when
 * the type is unknown or its create callback made nothing. */
VKL_API VKL_Any* VKL_NewAny(VKL_State* L, const char* typeName, TObject* args, int nargs);
VKL_API VKL_Any* VKL_NewAnyEx(VKL_State* L, VKL_AnyMan* man, TObject* args, int nargs);
VKL_API void VKL_FreeAny(VKL_State* L, VKL_Any* obj);
/* 1 when the cell now holds the object; on 0 the object still belongs to the caller. */
VKL_API int VKL_SetTypeAny(VKL_State* L, TObject* o, VKL_Any* obj);
VKL_API void* VKL_GetDataFromAny(const VKL_Any* obj);
/* The named object a cell holds (reference followed), or null. */
VKL_API VKL_Any* VKL_AnyFromObj(const TObject* o);
/* The data of the object in the cell when its type is `typeName`, else null. */
VKL_API void* VKL_FindAnyByName(const TObject* o, const char* typeName);
/* Calls a method of the object in the cell: as VKL_AnyMethodFn (-1 also when the cell holds no
 * named object). */
VKL_API int VKL_CallAnyMethod(VKL_State* L, const TObject* o, const char* method, TObject* args,
                              int nargs, TObject* result);

/* ---- Host settings and their change notification ----
 * The settings are one INI file. Loading (or reloading) it calls every notification with the
 * file's name and VKL_INI_SETTINGS; VKL_NotifyIni sends other notifications. */

enum { VKL_INI_SETTINGS = 0, VKL_INI_FILEMGR = 1 };
typedef void (*VKL_IniNotifyFn)(const char* fileName, int kind);
/* 1 when the file was read (a missing file gives empty settings and 0). The notifications run
 * either way, as the settings changed. */
VKL_API int VKL_LoadSettings(const char* path);
/* The path of the last load ("" before any); the pointer lives until the next load. */
VKL_API const char* VKL_SettingsPath(void);
/* The notification runs on every reload; `arg` is recorded with it. Adding a function already
 * added changes nothing. Returns 1, or 0 for a null function. */
VKL_API int AddIniNotify(VKL_IniNotifyFn notify, int arg);
VKL_API void VKL_NotifyIni(const char* fileName, int kind);
/* 1 when a notification concerns the file manager's own settings (kind VKL_INI_FILEMGR),
 * which plug-ins ignore. */
VKL_API int VKL_IsNotifyFileMgrIni(const char* fileName, int kind);
/* A setting as an integer (decimal or 0x hex; `def` when absent or not a number); sections and
 * keys compared without regard to case. */
VKL_API int VKL_FileMgrGetPrivateProfileInt(const char* section, const char* key, int def);
/* A setting as text, or `def` when absent. The pointer lives until the next reload. */
VKL_API const char* VKL_FileMgrGetPrivateProfileString(const char* section, const char* key,
                                                       const char* def);

/* ---- Import/export formats ---- */

typedef struct VKL_ImpExpFormat {
  int64_t id;
  const char* name;
  int (*save)(VKL_State* L, const TObject* value, const char* fileName);
  int (*saveW)(VKL_State* L, const TObject* value, const vkl_wchar* fileName);
  int (*load)(VKL_State* L, TObject* target, const char* fileName);
  int (*loadW)(VKL_State* L, TObject* target, const vkl_wchar* fileName);
} VKL_ImpExpFormat;
/* Registers a format (the record must outlive the process); a known id is replaced. */
VKL_API int VKL_RegisterImpExp(int64_t id, const VKL_ImpExpFormat* format);
VKL_API const VKL_ImpExpFormat* VKL_FindImpExp(int64_t id);

/* ---- The interpreter's service callback ---- */

enum {
  VKL_SVC_SQLERRORMSG = 15, /* the last database error message: const char* ("" when none) */
  VKL_SVC_FILENAME = 24     /* the file the state runs: const char* ("" when none) */
};
VKL_API intptr_t VKL_InterpService(VKL_State* L, int selector, void* arg);
VKL_API void VKL_InterpSetFileName(VKL_State* L, const char* fileName);
/* Records the database error message that selector 15 gives (a host with a database sets it;
 * null clears it). */
VKL_API void VKL_InterpSetSQLError(VKL_State* L, const char* message);

/* ---- Extension modules ----
 * An extension module exports one evaluator, "CALL_VALUEANY", which serves every function of
 * its group by the function's number within the group. It is called as an implementation
 * routine of a coded function (VKL_CodedRoutine of <vkl/coded.h>): the interpreter's driver has
 * checked the arguments against the descriptor of the function's current twin. */

typedef int (*VKL_CallValueAny)(VKL_State* L, TObject* args, TObject* result, int function);

#ifdef __cplusplus
}
#endif
#endif /* VKL_INTERP_H */
