/* Comes before widl's server stub, which guards its blocks with structured exceptions. No compiler
   here has them in C, and what is asked of that stub raises none: the blocks alone. */
#include <rpc.h>

#define USE_COMPILER_EXCEPTIONS
#undef RpcTryExcept
#undef RpcExcept
#undef RpcEndExcept
#undef RpcTryFinally
#undef RpcFinally
#undef RpcEndFinally
#undef RpcExceptionCode
#define RpcTryExcept
#define RpcExcept(filter) if (0)
#define RpcEndExcept
#define RpcTryFinally
#define RpcFinally
#define RpcEndFinally
#define RpcExceptionCode() 0
