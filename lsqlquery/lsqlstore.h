/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file lsqlstore.h
 * @brief The configuration store for those who manage it: lists, transactions, removals, changes as they are made.
 *
 * lsqlquery.h reads and writes one setting at a time, and is all that a program needs which only uses the settings.
 * This header adds what a device manager and the lsqlctl tool need. It belongs to this implementation of the store;
 * programs that must also run with the device's own library use lsqlquery.h alone.
 *
 * What lsqlquery.h says of threads, processes, ownership and limits holds here too.
 */
#ifndef LSQLSTORE_H
#define LSQLSTORE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
#ifdef __GNUC__
    #pragma GCC visibility push(default)
#endif

/** @brief Outcomes. They never change their numbers. */
enum {
    LSQLSTORE_OK = 0,
    LSQLSTORE_NOT_FOUND = 1, /**< there is no such object, row or field */
    LSQLSTORE_INVALID = 2,   /**< an argument or LSQLQUERY_MAP_SIZE is unusable */
    LSQLSTORE_NO_FOLDER = 3, /**< the store's folder does not exist, or is not a folder */
    LSQLSTORE_NO_STORE = 4,  /**< the folder holds no store yet; the first write makes it */
    LSQLSTORE_DENIED = 5,    /**< this user may not use the store */
    LSQLSTORE_READ_ONLY = 6, /**< the file system is mounted read-only */
    LSQLSTORE_NO_SPACE = 7,  /**< the file system, or the user's share of it, is full */
    LSQLSTORE_FULL = 8,      /**< the store has reached the size to which it may grow */
    LSQLSTORE_DAMAGED = 9,   /**< the data file is not a store, is cut short or contradicts itself */
    LSQLSTORE_READERS = 10,  /**< too many reads at one time, in this process or on this store */
    LSQLSTORE_NO_MEMORY = 11,
    LSQLSTORE_FAILED = 12 /**< another error of the operating system or of LMDB, told in the text */
};

/** @brief One field of one row, with its full name. */
typedef struct lsqlstore_field {
    const char *object;
    const char *instance;        /**< null for an object without rows */
    const char *qualifier_field; /**< null for the row without a qualifier */
    const char *qualifier_value; /**< null if and only if qualifier_field is */
    const char *field;
    const char *value; /**< null: the field is to be removed, or was removed */
} lsqlstore_field;

/** @brief Flags of lsqlstore_write(). */
enum {
    /** Rows are those that were written under exactly this qualifier; other rows that would answer it do not count.
     * This is how the fields of lsqlstore_walk() are written back. */
    LSQLSTORE_EXACT = 1,
    /** Remove whatever is not among the fields. Implies LSQLSTORE_EXACT. */
    LSQLSTORE_REPLACE = 2
};

/** @brief Write and remove fields in one transaction: all of them, or none.
 *
 * Every field is announced to those who watch the store.
 *
 * @param[in] fields The fields; none may appear twice.
 * @param[in] count Their number. 0 is allowed, and with #LSQLSTORE_REPLACE empties the store.
 * @param[in] flags 0, or #LSQLSTORE_EXACT and #LSQLSTORE_REPLACE.
 * @param[out] failed Null, or where to put the index of the field that was refused, @a count if the failure is not
 * about one field. Only set on failure.
 * @param[out] error As in lsqlquery_set_pv_with_error().
 * @return 0, or as lsqlquery_set_pv_with_error(), or #LSQLSTORE_NOT_FOUND if a field that is to be removed is not
 * there.
 */
int lsqlstore_write(const lsqlstore_field *fields, size_t count, unsigned flags, size_t *failed, char **error);

/** @brief What lsqlstore_walk() calls for each field; all texts live until it returns. Non-zero ends the walk.
 * It may take its time, read the store and write to it; the walk does not see that. */
typedef int lsqlstore_visit(const lsqlstore_field *field, void *context);

/** @brief Visit all fields as they were at one instant, rows together, sorted by name.
 *
 * The fields are copied first, so that memory for all of them is needed and no visitor keeps writers from old space.
 *
 * @param[in] object Only this object's fields; null for all.
 * @param[in] visit What to call. Not null.
 * @param[in] context Passed on to @a visit.
 * @param[out] error As in lsqlquery_set_pv_with_error().
 * @return 0, what @a visit returned to end the walk, or an outcome such as #LSQLSTORE_NO_STORE.
 */
int lsqlstore_walk(const char *object, lsqlstore_visit *visit, void *context, char **error);

/** @brief Why the latest call in this thread failed or returned null.
 *
 * @param[out] text Null, or where to put the text; it lives until the next failure in this thread.
 * @return The outcome. #LSQLSTORE_NOT_FOUND after a read that found nothing in a store that is well. Calls that succeed
 * leave it as it was.
 */
int lsqlstore_last_error(const char **text);

/** @brief Say where the line goes that tells of a store that cannot be read.
 *
 * @param[in] report Called with one line, without a line break, from the thread that reads; null for no line at all.
 * By default the line goes to standard error.
 */
void lsqlstore_set_report(void (*report)(const char *line));

/** @brief Close the store's files. The next call opens them again, with the environment variables as they are then.
 * @return 0, or #LSQLSTORE_READERS if another thread did not end its read within a second: then nothing was closed.
 */
int lsqlstore_close(void);

/** @brief An observer of changes. One thread at a time may use it. */
typedef struct lsqlstore_watch lsqlstore_watch;

/** @brief Outcomes of lsqlstore_watch_next(). */
enum {
    LSQLSTORE_WATCH_ERROR = -1, /**< the store cannot be watched any more; lsqlstore_last_error() tells why */
    LSQLSTORE_WATCH_NONE = 0,   /**< nothing new for now */
    LSQLSTORE_WATCH_CHANGE = 1, /**< a field was written (value is its value) or removed (value is null) */
    LSQLSTORE_WATCH_LOST = 2    /**< changes went by unseen: read all that matters again */
};

/** @brief Start to watch, from the next write on.
 *
 * The folder must exist; the store need not.
 *
 * @param[out] error As in lsqlquery_set_pv_with_error().
 * @return A watch, to be released with lsqlstore_watch_close(); or null.
 */
lsqlstore_watch *lsqlstore_watch_open(char **error);

/** @brief The descriptor to wait on: readable when lsqlstore_watch_next() should be called until it says
 * #LSQLSTORE_WATCH_NONE. For poll() and its kin only; it belongs to the watch. */
int lsqlstore_watch_fd(const lsqlstore_watch *watch);

/** @brief Take the next change, without waiting.
 *
 * Changes come in the order in which they were made, each once. The store remembers the latest 1,024, fewer if they are
 * large (1 MB, or an eighth of the store's size, in all); a watch that falls behind is told #LSQLSTORE_WATCH_LOST
 * and goes on with the next write.
 *
 * @param[in] watch The watch.
 * @param[out] change The change; its texts live until the next call with this watch.
 * @return One of the outcomes above.
 */
int lsqlstore_watch_next(lsqlstore_watch *watch, lsqlstore_field *change);

/** @brief End a watch. Accepts null. */
void lsqlstore_watch_close(lsqlstore_watch *watch);

#ifdef __GNUC__
    #pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
