/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file lsqlquery.h
 * @brief The device's configuration store: reading and writing one setting at a time.
 *
 * The store holds text values. A value is named by an @e object (a table: "management", "radio"), an optional
 * @e instance (a row of that object: "wlan0") and a @e field (a column: "ssid"). An object without rows is named with
 * a null instance.
 *
 * Several rows may share an instance name. A @e qualifier, a second field and the value it must hold, then says which
 * row is meant: "of the rows wlan0-vap1, the one whose radio is wlan1". The row that was written under that qualifier
 * is looked at first, then the other rows of the instance in which the qualifier field holds the value, in order of
 * their names, the row without a qualifier before the rest. A row that was written under a qualifier answers the
 * qualifier field itself with the qualifier value. Without a qualifier the row without one is meant.
 *
 * There is nothing to open and nothing to close. All functions may be called from any thread and from any number of
 * processes at once. A read never waits for a write. A write is on the disk when it is acknowledged, and a process or a
 * device that stops at any instant leaves the store whole.
 *
 * A child process after fork() may use the store like any other; its parent's files are closed by exec.
 *
 * <b>Ownership.</b> Texts that are passed in stay the caller's and are only read during the call. A record that is
 * returned is the caller's, to be released with lsqlquery_destroy_pv(): it is one block, so its texts must neither be
 * released by themselves nor kept beyond it. An error text that is returned is released with free().
 *
 * <b>Where the data are.</b> In the folder that the environment variable LSQLQUERY_DB names, /var/lib/lsqlquery by
 * default. The folder must exist; the first write makes the files in it. LSQLQUERY_MAP_SIZE (bytes, or with K or M
 * behind the number) is the size to which the store may grow, 16M by default; a store keeps the largest size that any
 * process has asked for. Both are read when a process first uses the store. A process that only reads goes on with the
 * files that it has opened when they are moved away or replaced: start it again.
 *
 * <b>Limits.</b> A value has at most 1,048,575 bytes, any but NUL. Object, instance, qualifier and field together have
 * at most 506 bytes. A name has at least one byte, an object no "/" and a qualifier field no "=" (so that lsqlctl can
 * name whatever there is).
 *
 * Programs that manage the store rather than use it find more in lsqlstore.h.
 */
#ifndef LSQLQUERY_H
#define LSQLQUERY_H

#ifdef __cplusplus
extern "C" {
#endif
#ifdef __GNUC__
    #pragma GCC visibility push(default)
#endif

/** @brief One field of one row. Both texts end in NUL; neither is null in a record that this library made. */
typedef struct lsqlquery_pv {
    char *field; /**< the field's name */
    char *value; /**< its value */
} lsqlquery_pv;

/** @brief Read one field.
 *
 * @param[in] object The object's name. Not null, not empty.
 * @param[in] instance The row's name, or null for an object without rows. Not empty: an empty name is refused rather
 * than taken for null, so that a name that went missing never reads the settings of the whole device.
 * @param[in] field The field's name. Not null, not empty.
 * @return A new record, to be released with lsqlquery_destroy_pv(); or null if there is no such object, row or field,
 * if an argument is unusable, or if the store cannot be read. lsqlstore_last_error() tells which. When the store cannot
 * be read, a line on standard error says so, once per kind of failure and not once per call.
 */
lsqlquery_pv *lsqlquery_get_pv(const char *object, const char *instance, const char *field);

/** @brief Read one field of the row that a qualifier chooses.
 *
 * @param[in] object, instance, field As in lsqlquery_get_pv().
 * @param[in] qualifier_field The field that tells the rows apart. Not null, not empty.
 * @param[in] qualifier_value What that field holds in the row that is meant. Not null; may be empty.
 * @return As lsqlquery_get_pv().
 */
lsqlquery_pv *lsqlquery_get_pv_q1(const char *object, const char *instance, const char *field,
                                  const char *qualifier_field, const char *qualifier_value);

/** @brief Make a record, to be written with lsqlquery_set_pv_with_error(). The store is not touched.
 *
 * @param[in] field The field's name; copied.
 * @param[in] value Its value; copied. May be empty.
 * @return A new record, to be released with lsqlquery_destroy_pv(); or null if either text is null or memory is short.
 */
lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value);

/** @brief Write one field. The object and the row come into being with their first field.
 *
 * Every write is announced to those who watch the store, also one of the value that was there already.
 *
 * @param[in] object, instance As in lsqlquery_get_pv().
 * @param[in] pv The field and its new value; any record will do, also one that this library did not make. Only read.
 * @param[in] qualifier The qualifier field and value that choose the row, or null. Only read. If no row of the instance
 * answers it, a row is made under it. The qualifier field itself can be written with the value of the qualifier only.
 * @param[out] error Null, or where to put the error text: on failure a new text that names the field, the cause and
 * what to do, to be released with free() (null if there was no memory for it); on success null.
 * @return 0, or one of the codes of lsqlstore.h; then nothing was changed:
 * <ul>
 *  <li>#LSQLSTORE_INVALID - an argument is null, empty or out of the limits, or LSQLQUERY_MAP_SIZE is not a size.
 *  <li>#LSQLSTORE_NO_FOLDER - the store's folder does not exist.
 *  <li>#LSQLSTORE_DENIED - this user may not write there.
 *  <li>#LSQLSTORE_READ_ONLY - the file system is mounted read-only.
 *  <li>#LSQLSTORE_NO_SPACE - the file system is full.
 *  <li>#LSQLSTORE_FULL - the store has reached the size to which it may grow.
 *  <li>#LSQLSTORE_DAMAGED - the data file is not a store, is cut short or contradicts itself.
 *  <li>#LSQLSTORE_READERS - too many reads at one time, in this process or on this store.
 *  <li>#LSQLSTORE_NO_MEMORY - memory is short.
 *  <li>#LSQLSTORE_FAILED - another error of the operating system, told in the text.
 * </ul>
 */
int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error);

/** @brief Release a record and its texts.
 *
 * @param[in] pv A record that this library made and that was not released yet, or null: then nothing happens.
 */
void lsqlquery_destroy_pv(lsqlquery_pv *pv);

#ifdef __GNUC__
    #pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
