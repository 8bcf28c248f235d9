// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/open.h"
#include "lsqlquery/changes.h"
#include "lsqlquery/failure.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace store
{

namespace
{

char g_folder[PATH_MAX];

// The page size that the first page records. LMDB trusts it, and divides by it.
struct MetaPage {
    char pageHeader[4 + 2 * sizeof(uint16_t) + sizeof(size_t)];
    uint32_t magic;
    uint32_t version;
    void *address;
    size_t mapSize;
    uint32_t pageSize;
};
static_assert(offsetof(MetaPage, pageSize) == (sizeof(void *) == 8 ? 40 : 28), "LMDB data format 1");

void dataPath(char (&path)[PATH_MAX])
{
    snprintf(path, sizeof path, "%.*s/data.mdb", PATH_MAX - 16, g_folder);
}

// A relative name counts from where the process was when it first used the store.
bool nameFolder()
{
    static char s_start[PATH_MAX];
    const char *name = getenv("LSQLQUERY_DB");
    if (!name || !*name)
        name = "/var/lib/lsqlquery";
    const bool isRelative = *name != '/';
    if (isRelative && !*s_start && !getcwd(s_start, sizeof s_start))
        return false;
    const int length =
        snprintf(g_folder, sizeof g_folder, "%s%s%s", isRelative ? s_start : "", isRelative ? "/" : "", name);
    return static_cast<size_t>(length) < sizeof g_folder - 16;
}

// Bytes asked for by LSQLQUERY_MAP_SIZE; 0 if that is not a size.
size_t wantedMapSize()
{
    const char *text = getenv("LSQLQUERY_MAP_SIZE");
    if (!text || !*text)
        return MAP_SIZE_DEFAULT;
    char *end = nullptr;
    errno = 0;
    const unsigned long long number = strtoull(text, &end, 10);
    const unsigned shift = *end == 'K' ? 10 : *end == 'M' ? 20 : 0;
    if (errno || end == text || *text == '-' || *(end + (shift != 0)) || number > (SIZE_MAX / 2) >> shift)
        return 0;
    const size_t size = static_cast<size_t>(number) << shift;
    return size < MAP_SIZE_MIN ? 0 : size;
}

int checkFolder()
{
    if (!nameFolder())
        return ENAMETOOLONG;
    struct stat status;
    if (stat(g_folder, &status) != 0)
        return errno == ENOENT ? CAUSE_NO_FOLDER : errno;
    return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

// Zero if the first page could be LMDB's. Whether it is, LMDB finds out.
int checkHeader()
{
    char path[PATH_MAX];
    dataPath(path);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    MetaPage page;
    const ssize_t size = pread(fd, &page, sizeof page, 0);
    close(fd);
    if (size != static_cast<ssize_t>(sizeof page))
        return CAUSE_CUT_SHORT;
    const bool plausible = page.pageSize >= 256 && page.pageSize <= 65536 && (page.pageSize & (page.pageSize - 1)) == 0;
    return page.magic != 0xBEEFC0DE || plausible ? 0 : CAUSE_CUT_SHORT;
}

int openEnv(MDB_env *&env, unsigned flags, MDB_assert_func *onAssertion)
{
    int rc = mdb_env_create(&env);
    if (rc)
        return rc;
    mdb_env_set_assert(env, onAssertion);
    rc = mdb_env_set_maxdbs(env, 1);
    if (rc == 0)
        rc = mdb_env_open(env, g_folder, MDB_NOTLS | flags, 0600);
    mdb_filehandle_t fd;
    if (rc == 0 && mdb_env_get_fd(env, &fd) == 0)
        fcntl(fd, F_SETFD, FD_CLOEXEC); // LMDB sets it on its other files, but not on the one it lets others see
    if (rc) {
        mdb_env_close(env);
        env = nullptr;
    }
    return rc;
}

int noteFile(Environment &environment)
{
    MDB_envinfo info;
    MDB_stat tree;
    mdb_env_info(environment.env, &info);
    mdb_env_stat(environment.env, &tree);
    environment.mapSize = info.me_mapsize;

    // Asked after the environment, the length can only be too large: another process may be writing.
    mdb_filehandle_t fd;
    struct stat file;
    if (mdb_env_get_fd(environment.env, &fd) != 0 || fstat(fd, &file) != 0)
        return EIO;
    environment.device = file.st_dev;
    environment.inode = file.st_ino;
    return static_cast<unsigned long long>(file.st_size) / tree.ms_psize > info.me_last_pgno ? 0 : CAUSE_CUT_SHORT;
}

// On failure the environment has no map any more, and can only be closed.
int setMapSize(Environment &environment, size_t size)
{
    const int rc = mdb_env_set_mapsize(environment.env, size);
    if (rc)
        return rc;
    MDB_envinfo info;
    mdb_env_info(environment.env, &info);
    environment.mapSize = info.me_mapsize;
    return 0;
}

int prepare(Environment &environment, size_t mapSize)
{
    int rc = noteFile(environment);
    if (rc == 0 && !environment.readOnly && environment.mapSize < mapSize)
        rc = setMapSize(environment, mapSize);
    int dead = 0;
    if (rc == 0 && !environment.readOnly)
        rc = mdb_reader_check(environment.env, &dead);
    if (rc == 0)
        rc = openChangesTable(environment);
    return rc;
}

} // namespace

const char *folder()
{
    return g_folder;
}

int statDataFile(struct stat &file)
{
    char path[PATH_MAX];
    dataPath(path);
    if (stat(path, &file) != 0)
        return errno;
    return file.st_size > 0 ? 0 : ENOENT;
}

int openStore(Environment &environment, bool create, MDB_assert_func *onAssertion)
{
    int rc = checkFolder();
    if (rc)
        return rc;
    const size_t mapSize = wantedMapSize();
    if (mapSize == 0)
        return CAUSE_MAP_SIZE;
    struct stat file;
    rc = statDataFile(file);
    const bool isNew = rc == ENOENT;
    if (isNew)
        rc = create ? 0 : CAUSE_NO_STORE;
    else if (rc == 0)
        rc = checkHeader();
    if (rc)
        return rc;

    environment.readOnly = false;
    rc = openEnv(environment.env, 0, onAssertion);
    if (rc == EROFS && !isNew) {
        environment.readOnly = true;
        rc = openEnv(environment.env, MDB_RDONLY, onAssertion);
    }
    if (rc == 0 && (rc = prepare(environment, mapSize)) != 0)
        closeStore(environment);
    return rc;
}

void closeStore(Environment &environment)
{
    if (environment.env)
        mdb_env_close(environment.env);
    environment.env = nullptr;
    environment.changes.store(0);
}

int resizeStore(Environment &environment)
{
    const size_t before = environment.mapSize;
    const int rc = setMapSize(environment, 0);
    // The file knows nothing of the size that this process has asked for and not yet written under.
    return rc == 0 && environment.mapSize < before ? setMapSize(environment, before) : rc;
}

int openChangesTable(Environment &environment)
{
    MDB_txn *txn;
    int rc = mdb_txn_begin(environment.env, nullptr, MDB_RDONLY, &txn);
    if (rc)
        return rc;
    MDB_dbi table = 0;
    // The main table's handle is fixed; asking for it makes sure that it is what it should be.
    rc = mdb_dbi_open(txn, nullptr, 0, &environment.mainTable);
    if (rc == 0 && (rc = mdb_dbi_open(txn, CHANGES_TABLE, 0, &table)) == MDB_NOTFOUND)
        rc = table = 0;
    if (rc) {
        mdb_txn_abort(txn);
        return rc;
    }
    environment.changes.store(table);
    return mdb_txn_commit(txn);
}

int coverMap(const Environment &environment)
{
    mdb_filehandle_t fd;
    struct stat file;
    if (mdb_env_get_fd(environment.env, &fd) != 0 || fstat(fd, &file) != 0)
        return EIO;
    const off_t size = static_cast<off_t>(environment.mapSize);
    return file.st_size >= size || ftruncate(fd, size) == 0 ? 0 : errno;
}

bool isFileSystemFull()
{
    struct statvfs space;
    return statvfs(g_folder, &space) == 0 && space.f_bavail * space.f_frsize < 65536;
}

void announce()
{
    mdb_filehandle_t fd;
    if (mdb_env_get_fd(g_environment.env, &fd) == 0)
        futimens(fd, nullptr);
}

} // namespace store
