/*
** The classic C interface of SQLite 2.8, for a read-only engine.
**
** Names, signatures, return codes and contracts are those of SQLite 2.8's
** sqlite.h, so code written against this header links unchanged against the
** real library. Only the part of the interface that reading needs is here.
*/
#ifndef SQLITE2_SQLITE_H_
#define SQLITE2_SQLITE_H_

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SQLITE_VERSION "2.8.13" /* the release whose behaviour this engine follows */

/* An open database. */
typedef struct sqlite sqlite;

/*
** Opens the database file `filename`. `mode` is ignored, as in 2.8. On
** failure returns NULL and, when `errmsg` is not NULL, stores a message there
** that the caller frees with sqlite_freemem().
*/
sqlite* sqlite_open(const char* filename, int mode, char** errmsg);

/* Closes a database opened by sqlite_open(). NULL is harmless. */
void sqlite_close(sqlite* db);

/*
** The row callback: the context, the number of columns, the values (a NULL
** pointer for SQL NULL; argv[argc] is NULL) and the column names followed by
** their declared types (azColName[argc..2*argc-1]). A non-zero return aborts
** the statement with SQLITE_ABORT.
*/
typedef int (*sqlite_callback)(void* arg, int argc, char** argv, char** azColName);

/*
** Runs the ';'-separated statements of `sql`, calling `xCallback` once per
** result row. Returns an SQLITE_ code; on failure stores a message in *errmsg
** (when `errmsg` is not NULL) that the caller frees with sqlite_freemem().
*/
int sqlite_exec(sqlite* db, const char* sql, sqlite_callback xCallback, void* pArg, char** errmsg);

/*
** Like sqlite_exec(), with the SQL text produced by SQLite's printf from
** `sqlFormat` and the arguments: %q doubles single quotes, %Q also wraps the
** text in quotes (NULL gives the word NULL), %s pastes the text as it is.
*/
int sqlite_exec_printf(sqlite* db, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                       char** errmsg, ...);
int sqlite_exec_vprintf(sqlite* db, const char* sqlFormat, sqlite_callback xCallback, void* pArg,
                        char** errmsg, va_list ap);

/* SQLite's printf into memory from malloc; free it with sqlite_freemem(). */
char* sqlite_mprintf(const char* zFormat, ...);
char* sqlite_vmprintf(const char* zFormat, va_list ap);

/* Frees a message or string handed out by this library. NULL is harmless. */
void sqlite_freemem(void* p);

/* The generic English text of a return code. */
const char* sqlite_error_string(int rc);

/* The library's version text. */
extern const char sqlite_version[];
const char* sqlite_libversion(void);

/* Return codes. */
#define SQLITE_OK 0          /* Successful result */
#define SQLITE_ERROR 1       /* SQL error or missing database */
#define SQLITE_INTERNAL 2    /* An internal logic error in SQLite */
#define SQLITE_PERM 3        /* Access permission denied */
#define SQLITE_ABORT 4       /* Callback routine requested an abort */
#define SQLITE_BUSY 5        /* The database file is locked */
#define SQLITE_LOCKED 6      /* A table in the database is locked */
#define SQLITE_NOMEM 7       /* A malloc() failed */
#define SQLITE_READONLY 8    /* Attempt to write a readonly database */
#define SQLITE_INTERRUPT 9   /* Operation terminated by sqlite_interrupt() */
#define SQLITE_IOERR 10      /* Some kind of disk I/O error occurred */
#define SQLITE_CORRUPT 11    /* The database disk image is malformed */
#define SQLITE_NOTFOUND 12   /* (Internal Only) Table or record not found */
#define SQLITE_FULL 13       /* Insertion failed because database is full */
#define SQLITE_CANTOPEN 14   /* Unable to open the database file */
#define SQLITE_PROTOCOL 15   /* Database lock protocol error */
#define SQLITE_EMPTY 16      /* (Internal Only) Database table is empty */
#define SQLITE_SCHEMA 17     /* The database schema changed */
#define SQLITE_TOOBIG 18     /* Too much data for one row of a table */
#define SQLITE_CONSTRAINT 19 /* Abort due to contraint violation */
#define SQLITE_MISMATCH 20   /* Data type mismatch */
#define SQLITE_MISUSE 21     /* Library used incorrectly */
#define SQLITE_NOLFS 22      /* Uses OS features not supported on host */
#define SQLITE_AUTH 23       /* Authorization denied */
#define SQLITE_FORMAT 24     /* Auxiliary database format error */
#define SQLITE_RANGE 25      /* 2nd parameter to sqlite_bind out of range */
#define SQLITE_NOTADB 26     /* File opened that is not a database file */
#define SQLITE_ROW 100       /* sqlite_step() has another row ready */
#define SQLITE_DONE 101      /* sqlite_step() has finished executing */

#ifdef __cplusplus
}
#endif

#endif /* SQLITE2_SQLITE_H_ */
