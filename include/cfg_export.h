/*
 * cfg_export.h: the host's configuration table, as the driver uses it.
 *
 * The host owns the board configuration. It hands the driver a CFG_Interface, 88 operations in a
 * fixed order, with the handle that goes with it. The driver reads keys of the namespaces "VEXIL."
 * and "KELM." through seven of the operations, once, while a handle is initialised; it never calls
 * the other 81, never changes the table and never keeps it after the handle is deleted.
 */
#ifndef CFG_EXPORT_H
#define CFG_EXPORT_H

#include "jti_typedef.h"

/* The host's own handle; passed back unchanged as the first argument of every operation. */
typedef void* CFG_Handle;

/* The host's own name for one entry (one key) of a context; opaque to the driver, which sets it to
 * null before each look-up. */
typedef void* JBD_Context;

/* An operation that the driver never calls; its true arguments are the host's affair. */
typedef JTI_Error (*CFG_Unused_t)(void);

/*
 * The id that means "no context".
 *   cfgHandle   in:  the host's handle
 *   pContextId  out: the id
 * Returns 0, or a host code that the driver passes on unchanged.
 */
typedef JTI_Error (*CFG_GetContextIdInvalid_t)(CFG_Handle cfgHandle, uint32_t* pContextId);

/*
 * The id of the global context of this scan controller.
 *   pContextId  out: the id, when found
 *   pFound      out: whether the context exists; when false the driver keeps its defaults
 */
typedef JTI_Error (*CFG_GetContextIdGlobal_t)(CFG_Handle cfgHandle, uint32_t* pContextId,
                                              bool* pFound);

/*
 * Looks one key up.
 *   contextId   in:  the global context's id
 *   pKeyName    in:  NUL-terminated key with its namespace, as in "VEXIL.SLOWFRQ"
 *   pEntry      out: the entry for the typed reads below
 *   pFound      out: whether the key is there; an absent key is success with false
 * The entry given for an absent key must be accepted by the typed reads, which answer it with
 * success and an empty value: the driver reads some keys without looking at *pFound.
 */
typedef JTI_Error (*CFG_GetContextHandle_t)(CFG_Handle cfgHandle, uint32_t contextId,
                                            const char* pKeyName, JBD_Context* pEntry,
                                            bool* pFound);

/*
 * The entry's text.
 *   pLength  out: characters, the NUL not counted
 *   ppText   out: NUL-terminated text that the host owns and keeps while the configuration lives
 */
typedef JTI_Error (*CFG_GetContextString_t)(CFG_Handle cfgHandle, JBD_Context entry,
                                            uint32_t* pLength, const char** ppText);

/* The entry as a truth value; non-zero result when it is none. */
typedef JTI_Error (*CFG_GetContextBoolean_t)(CFG_Handle cfgHandle, JBD_Context entry, bool* pValue);

/* The entry as an unsigned 32-bit number; non-zero result when it is none. */
typedef JTI_Error (*CFG_GetContextUnsign32_t)(CFG_Handle cfgHandle, JBD_Context entry,
                                              uint32_t* pValue);

/* The entry as a signed 32-bit number; non-zero result when it is none. */
typedef JTI_Error (*CFG_GetContextSigned32_t)(CFG_Handle cfgHandle, JBD_Context entry,
                                              int32_t* pValue);

/* The host's table. Only the slots with a type of their own are called. */
typedef struct CFG_Interface {
    CFG_Unused_t MemoryTextQuery;                  /* 0 */
    CFG_Unused_t MemoryTextRead;                   /* 1 */
    CFG_Unused_t MemoryTextWriteCreate;            /* 2 */
    CFG_Unused_t MemoryTextWriteDelete;            /* 3 */
    CFG_Unused_t OperateErase;                     /* 4 */
    CFG_Unused_t OperateInform;                    /* 5 */
    CFG_Unused_t OperateContent;                   /* 6 */
    CFG_Unused_t OperateContext;                   /* 7 */
    CFG_GetContextIdInvalid_t GetContextIdInvalid; /* 8 */
    CFG_GetContextIdGlobal_t GetContextIdGlobal;   /* 9 */
    CFG_Unused_t GetContextIdLocal;                /* 10 */
    CFG_Unused_t GetContextInvalid;                /* 11 */
    CFG_GetContextHandle_t GetContextHandle;       /* 12 */
    CFG_Unused_t GetContextPrivate;                /* 13 */
    CFG_GetContextString_t GetContextString;       /* 14 */
    CFG_Unused_t GetContextLogic;                  /* 15 */
    CFG_GetContextUnsign32_t GetContextUnsign32;   /* 16 */
    CFG_GetContextSigned32_t GetContextSigned32;   /* 17 */
    CFG_Unused_t GetItemFirst;                     /* 18 */
    CFG_Unused_t GetItemNext;                      /* 19 */
    CFG_Unused_t GetDeviceGlobalFirst;             /* 20 */
    CFG_Unused_t GetDeviceGlobalNext;              /* 21 */
    CFG_Unused_t GetDeviceLocalFirst;              /* 22 */
    CFG_Unused_t GetDeviceLocalNext;               /* 23 */
    CFG_Unused_t GetDeviceLocalParent;             /* 24 */
    CFG_Unused_t GetSubpathGlobalFirst;            /* 25 */
    CFG_Unused_t GetSubpathGlobalNext;             /* 26 */
    CFG_Unused_t GetSubpathLocalFirst;             /* 27 */
    CFG_Unused_t GetSubpathLocalNext;              /* 28 */
    CFG_Unused_t GetSubpathLocalParent;            /* 29 */
    CFG_Unused_t GetDeviceIndexFromContext;        /* 30 */
    CFG_Unused_t GetDeviceContextFromIndex;        /* 31 */
    CFG_Unused_t GetSubpathIndexFromContext;       /* 32 */
    CFG_Unused_t GetSubpathContextFromIndex;       /* 33 */
    CFG_Unused_t GetDeviceSimple;                  /* 34 */
    CFG_Unused_t GetSubpathSimple;                 /* 35 */
    CFG_Unused_t GetConfigValue;                   /* 36 */
    CFG_Unused_t FromValue2String;                 /* 37 */
    CFG_Unused_t FromValue2Logic;                  /* 38 */
    CFG_Unused_t FromValue2Unsign;                 /* 39 */
    CFG_Unused_t FromValue2Signed;                 /* 40 */
    CFG_Unused_t GetRootDevice;                    /* 41 */
    CFG_Unused_t GetNextDevice;                    /* 42 */
    CFG_Unused_t GetRootSubpath;                   /* 43 */
    CFG_Unused_t GetNextSubpath;                   /* 44 */
    CFG_Unused_t GetRootDeviceOnSubpath;           /* 45 */
    CFG_Unused_t GetNextDeviceOnSubpath;           /* 46 */
    CFG_Unused_t GetParentOfDevice;                /* 47 */
    CFG_Unused_t GetParentOfSubpath;               /* 48 */
    CFG_Unused_t GetDeviceLength;                  /* 49 */
    CFG_Unused_t GetDeviceType;                    /* 50 */
    CFG_Unused_t ConvertFamilyName;                /* 51 */
    CFG_Unused_t CreateVariable;                   /* 52 */
    CFG_Unused_t DeleteVariable;                   /* 53 */
    CFG_Unused_t GetVariableNumber;                /* 54 */
    CFG_Unused_t GetVariableByIndex;               /* 55 */
    CFG_Unused_t IsVariableGood;                   /* 56 */
    CFG_Unused_t InitialFamily;                    /* 57 */
    CFG_Unused_t PutFamilyParameter;               /* 58 */
    CFG_Unused_t CreateFamily;                     /* 59 */
    CFG_Unused_t GetFamilyNumber;                  /* 60 */
    CFG_Unused_t GetFamilyByIndex;                 /* 61 */
    CFG_Unused_t IsFamilyGood;                     /* 62 */
    CFG_Unused_t InitialAlias;                     /* 63 */
    CFG_Unused_t PutAliasParameter;                /* 64 */
    CFG_Unused_t CreateAlias;                      /* 65 */
    CFG_Unused_t GetAliasNumber;                   /* 66 */
    CFG_Unused_t GetAliasByIndex;                  /* 67 */
    CFG_Unused_t IsAliasGood;                      /* 68 */
    CFG_Unused_t InitialDevice;                    /* 69 */
    CFG_Unused_t PutDeviceParameter;               /* 70 */
    CFG_Unused_t CreateDevice;                     /* 71 */
    CFG_Unused_t GetDeviceNumber;                  /* 72 */
    CFG_Unused_t GetDeviceByIndex;                 /* 73 */
    CFG_Unused_t IsDeviceGood;                     /* 74 */
    CFG_Unused_t InitialSubpath;                   /* 75 */
    CFG_Unused_t PutSubpathParameter;              /* 76 */
    CFG_Unused_t CreateSubpath;                    /* 77 */
    CFG_Unused_t GetSubpathNumber;                 /* 78 */
    CFG_Unused_t GetSubpathByIndex;                /* 79 */
    CFG_Unused_t IsSubpathGood;                    /* 80 */
    CFG_GetContextBoolean_t GetContextBoolean;     /* 81 */
    CFG_Unused_t GetContextUnsign8;                /* 82 */
    CFG_Unused_t GetContextSigned8;                /* 83 */
    CFG_Unused_t GetContextUnsign16;               /* 84 */
    CFG_Unused_t GetContextSigned16;               /* 85 */
    CFG_Unused_t GetContextUnsign64;               /* 86 */
    CFG_Unused_t GetContextSigned64;               /* 87 */
} CFG_Interface;

JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextIdInvalid) == 8 * 8,
                  "CFG_Interface.GetContextIdInvalid");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextIdGlobal) == 9 * 8,
                  "CFG_Interface.GetContextIdGlobal");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextHandle) == 12 * 8,
                  "CFG_Interface.GetContextHandle");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextString) == 14 * 8,
                  "CFG_Interface.GetContextString");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextUnsign32) == 16 * 8,
                  "CFG_Interface.GetContextUnsign32");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextSigned32) == 17 * 8,
                  "CFG_Interface.GetContextSigned32");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextBoolean) == 81 * 8,
                  "CFG_Interface.GetContextBoolean");
JTI_STATIC_ASSERT(offsetof(CFG_Interface, GetContextSigned64) == 87 * 8,
                  "CFG_Interface.GetContextSigned64");
JTI_STATIC_ASSERT(sizeof(CFG_Interface) == 88 * 8, "CFG_Interface has 88 slots");

#endif /* CFG_EXPORT_H */
