/* zbase: a small library that the shared-library tests load. */

/* The answer this build of the library gives; each test library differs. */
#ifndef ZSHLIB_ANSWER
#define ZSHLIB_ANSWER 42
#endif

/* What the tests' initialize hook hands back to the loader. */
#ifndef ZSHLIB_INIT_RESULT
#define ZSHLIB_INIT_RESULT 0
#endif

int zshlib_answer(void) { return ZSHLIB_ANSWER; }

int zshlib_init(void) { return ZSHLIB_INIT_RESULT; }

/* Defined nowhere: only a library loaded with lazy resolution can load. */
#ifdef ZSHLIB_UNRESOLVED
extern int zshlib_nowhere(void);
int zshlib_call_nowhere(void) { return zshlib_nowhere(); }
#endif
