// q7settings: the settings store, one SQLite file in the user folder.
//
// A group of writes is one SQLite transaction with a rollback journal: until the group has ended the previous settings
// are what every reader, and every later start, finds. (A write-ahead log would do that too, but needs shared memory,
// which home folders on a network do not give.) The file is opened by the first call that needs it and closed with the
// application; a key handle is only a scope and a text, so a store that had to be replaced does not invalidate it.
//
// One lock guards everything here. Nothing in here stops the application: without a store, reading finds nothing and
// writing answers 0, and each kind of trouble is reported once an application, behind the lock, since the host's
// handler may read settings itself.
#include <fcntl.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/q7context.h"
#include "core/q7lists.h"
#include "core/q7memory.h"
#include "core/q7strings.h"
#include "platform/posix/services.hpp"
#include "platform/posix/shape.hpp"
#include "platform/q7platform.h"

using namespace q7posix;

namespace {

constexpr int kBusyMs = 5000;        // how long another process's writes are waited for
constexpr size_t kPathSize = 4096;   // bytes of a path
constexpr size_t kTextSize = 512;    // bytes of the buffer that a text is read into
constexpr size_t kReportSize = 800;  // bytes of a report
constexpr int kMaxReports = 4;       // reports of one call
constexpr int kMaxDamaged = 1000;    // damaged files that are kept side by side

// Values keep the type they are written with, because the value column has none.
constexpr char kSchema[] =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS keys(scope INTEGER NOT NULL, key TEXT NOT NULL, PRIMARY KEY(scope, key)) "
    "WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS settings(scope INTEGER NOT NULL, key TEXT NOT NULL, name TEXT NOT NULL, value, "
    "PRIMARY KEY(scope, key, name)) WITHOUT ROWID;"
    "COMMIT;";

enum Statement { kFindKey, kMakeKey, kReadValue, kWriteValue, kStatements };
constexpr const char *kSql[kStatements] = {
    "SELECT 1 FROM keys WHERE scope = ?1 AND key = ?2",
    "INSERT OR IGNORE INTO keys VALUES(?1, ?2)",
    "SELECT value FROM settings WHERE scope = ?1 AND key = ?2 AND name = ?3",
    ("INSERT INTO settings VALUES(?1, ?2, ?3, ?4) "
     "ON CONFLICT(scope, key, name) DO UPDATE SET value = excluded.value WHERE value IS NOT excluded.value"),
};

// What the user is told at most once an application.
enum Trouble : uint32_t { kNoHome = 1, kNoFolder = 2, kCannotOpen = 4, kCannotWrite = 8, kCannotRead = 16 };

struct Key {    // a handle
  Q7Node link;  // name: the key's text, owned
  int64_t scope;
};

struct Store {
  sqlite3 *database;
  sqlite3_stmt *statements[kStatements];
  pid_t owner;        // the process that opened it; a forked child must not go on with it
  bool writable;      // opened for writing, tables made
  int32_t groups;     // nesting of groups of writes
  bool group_failed;  // the group's writes answer 0
  uint32_t reported;  // Trouble
  Q7List keys;        // open handles
  bool keys_made;
  int32_t reports;  // texts that wait for the end of the call
  char report[kMaxReports][kReportSize];
  char path[kPathSize];
};
Store db;
pthread_mutex_t store_lock = PTHREAD_MUTEX_INITIALIZER;

// A call into the store: holds the lock, and makes the call's reports once it is given back.
class Session {
 public:
  Session() { pthread_mutex_lock(&store_lock); }
  ~Session() {
    char texts[kMaxReports][kReportSize];
    int32_t count = db.reports;
    memcpy(texts, db.report, static_cast<size_t>(count) * kReportSize);
    db.reports = 0;
    pthread_mutex_unlock(&store_lock);
    for (int32_t i = 0; i < count; ++i) Q7P_ERROR("q7settings", "%s", texts[i]);
  }
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;
};

Q7_PRINTF(1, 2) void tell(const char *format, ...) {
  if (db.reports == kMaxReports) return;
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(db.report[db.reports++], kReportSize, format, arguments);
  va_end(arguments);
}

void tell_once(Trouble trouble, const char *what, const char *why) {
  if (db.reported & trouble) return;
  db.reported |= trouble;
  if (*db.path) {
    tell("%.200s: %.300s: %.200s", what, db.path, why);
  } else {
    tell("%.200s", what);
  }
}

// The store's path; false without a home folder.
bool make_path(char *path) {
  const char *home = Q7GetUserHome();
  if (!home) return false;
  int length = snprintf(path, kPathSize, "%s/%s/settings.sqlite3", home, Q7GetUserFolder());
  return length > 0 && length < static_cast<int>(kPathSize) - 32;
}

// Makes the folders that the path lies in.
void make_folders(const char *path) {
  char part[kPathSize];
  snprintf(part, sizeof part, "%s", path);
  for (char *c = part + 1; (c = strchr(c, '/')) != nullptr; ++c) {
    *c = 0;
    mkdir(part, 0755);
    *c = '/';
  }
}

void close_store() {
  if (db.owner != getpid()) {
    // The parent process goes on with the descriptors; closing them here would take its locks away.
    db.database = nullptr;
    memset(db.statements, 0, sizeof db.statements);
  }
  for (sqlite3_stmt *&statement : db.statements) {
    sqlite3_finalize(statement);
    statement = nullptr;
  }
  sqlite3_close(db.database);
  db.database = nullptr;
  db.writable = false;
}

bool is_damage(int code) { return (code & 0xFF) == SQLITE_CORRUPT || (code & 0xFF) == SQLITE_NOTADB; }

int first_text(void *destination, int, char **values, char **) {
  snprintf(static_cast<char *>(destination), 64, "%s", values[0] ? values[0] : "");
  return 0;
}

// SQLITE_OK when the file is a whole database, SQLITE_CORRUPT when it is not.
int check(sqlite3 *database) {
  char answer[64] = "";
  int code = sqlite3_exec(database, "PRAGMA quick_check(1)", first_text, answer, nullptr);
  if (code != SQLITE_OK) return code;
  return strcmp(answer, "ok") == 0 ? SQLITE_OK : SQLITE_CORRUPT;
}

// Opens the file and looks whether it is sound; a missing one is made for writing only.
int connect(const char *path, bool writing, sqlite3 **database) {
  int flags = SQLITE_OPEN_NOMUTEX | (writing ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READWRITE);
  int code = sqlite3_open_v2(path, database, flags, nullptr);
  if (code == SQLITE_OK) {
    sqlite3_extended_result_codes(*database, 1);
    sqlite3_busy_timeout(*database, kBusyMs);
    code = check(*database);
  }
  if (code != SQLITE_OK) {
    sqlite3_close(*database);
    *database = nullptr;
  }
  return code;
}

// Moves a damaged store and its journal aside. Processes that find the damage at the same time take turns, and each
// looks again first, so that nobody moves the fresh store of another.
void move_aside(const char *path) {
  char folder[kPathSize];
  snprintf(folder, sizeof folder, "%s", path);
  *strrchr(folder, '/') = 0;
  int turn = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (turn >= 0) flock(turn, LOCK_EX);
  sqlite3 *database = nullptr;
  int code = connect(path, false, &database);
  sqlite3_close(database);
  if (is_damage(code)) {
    char aside[kPathSize + 64];
    struct stat status;
    int number = 1;
    do {
      snprintf(aside, sizeof aside, "%s.damaged-%d", path, number);
    } while (stat(aside, &status) == 0 && number++ < kMaxDamaged);
    if (rename(path, aside) == 0) {
      char journal[kPathSize + 16];
      char journal_aside[kPathSize + 96];
      snprintf(journal, sizeof journal, "%s-journal", path);
      snprintf(journal_aside, sizeof journal_aside, "%s-journal", aside);
      rename(journal, journal_aside);
      tell("The settings were damaged and are kept as %.500s; the defaults are used", aside);
    }
  }
  if (turn >= 0) close(turn);
}

bool prepare() {
  for (int i = 0; i < kStatements; ++i) {
    if (sqlite3_prepare_v3(db.database, kSql[i], -1, SQLITE_PREPARE_PERSISTENT, &db.statements[i], nullptr) !=
        SQLITE_OK) {
      return false;
    }
  }
  return true;
}

// Opens the store at db.path. A reader is content with what is there.
bool open_at_path(bool writing) {
  struct stat status;
  if (!writing && stat(db.path, &status) != 0) return false;
  if (writing) make_folders(db.path);
  int code = connect(db.path, writing, &db.database);
  if (is_damage(code)) {
    move_aside(db.path);
    if (!writing && stat(db.path, &status) != 0) return false;
    code = connect(db.path, writing, &db.database);
  }
  if (code != SQLITE_OK) {
    tell_once(writing ? kCannotWrite : kCannotRead, "Cannot open the settings", sqlite3_errstr(code));
    return false;
  }
  db.owner = getpid();
  if (writing) {
    code = sqlite3_exec(db.database, kSchema, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
      tell_once(kCannotWrite, "Cannot write the settings", sqlite3_errmsg(db.database));
      close_store();  // takes back what was begun
      return false;
    }
    db.writable = true;
  }
  if (prepare()) return true;
  // A file that a first writer was stopped in has no tables yet: for a reader it is an empty db. Tables of another
  // form are somebody else's.
  if (writing) tell_once(kCannotOpen, "The settings have an unknown form", sqlite3_errmsg(db.database));
  close_store();
  return false;
}

// Has the store open, for reading or for writing. Lets go of one that belongs to a parent process or to a user folder
// that is no longer the application's.
bool use_store(bool writing) {
  char path[kPathSize];
  if (!make_path(path)) {
    if (!db.database) *db.path = 0;
    if (writing) tell_once(kNoHome, "Without a home folder no settings are kept", "");
    return false;
  }
  bool stale = db.database && db.owner != getpid();
  if (stale) {
    db.groups = 0;
    db.group_failed = false;
  }
  if (stale || (db.groups == 0 && strcmp(path, db.path) != 0)) close_store();
  if (!db.database) {
    memcpy(db.path, path, strlen(path) + 1);
  } else if (writing && !db.writable) {
    close_store();
  }
  return db.database || open_at_path(writing);
}

// Behind a failed step. Damage that comes to light late is dealt with as at the start; the group it happened in fails.
void step_failed(int code, Trouble trouble, const char *what) {
  tell_once(trouble, what, sqlite3_errstr(code));
  if (db.groups) db.group_failed = true;
  if (!is_damage(code)) return;
  close_store();
  move_aside(db.path);
}

bool bind_key(sqlite3_stmt *statement, const Key &key) {
  return sqlite3_bind_int64(statement, 1, key.scope) == SQLITE_OK &&
         sqlite3_bind_text(statement, 2, key.link.name, -1, SQLITE_STATIC) == SQLITE_OK;
}

void reset(sqlite3_stmt *statement) {
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
}

// Runs a writing statement to its end.
bool run_write(sqlite3_stmt *statement) {
  int code = sqlite3_step(statement);
  reset(statement);
  if (code == SQLITE_DONE) return true;
  step_failed(code, kCannotWrite, "Cannot write the settings");
  return false;
}

bool may_write() { return use_store(true) && !(db.groups && db.group_failed); }

Q7List *open_keys() {
  if (!db.keys_made) Q7NewList(&db.keys);
  db.keys_made = true;
  return &db.keys;
}

Key *as_key(void *handle) {
  for (Q7Node *each = open_keys()->head; each->succ; each = each->succ) {
    if (each == handle) return reinterpret_cast<Key *>(each);
  }
  return nullptr;
}

void free_key(Key *key) {
  Q7StrFree(const_cast<char *>(key->link.name));
  Q7FreeMem(key, sizeof *key);
}

Key *make_key(uint32_t scope, const char *text) {
  auto *key = static_cast<Key *>(Q7AllocMem(sizeof(Key), Q7MEM_CLEAR));
  if (!key) return nullptr;
  key->scope = scope;
  key->link.name = Q7StrDup(text);
  if (key->link.name) return key;
  Q7FreeMem(key, sizeof *key);
  return nullptr;
}

bool key_exists(const Key &key) {
  sqlite3_stmt *statement = db.statements[kFindKey];
  int code = bind_key(statement, key) ? sqlite3_step(statement) : SQLITE_NOMEM;
  reset(statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) step_failed(code, kCannotRead, "Cannot read the settings");
  return code == SQLITE_ROW;
}

bool make_key_row(const Key &key) {
  if (key_exists(key)) return true;
  sqlite3_stmt *statement = may_write() ? db.statements[kMakeKey] : nullptr;
  return statement && bind_key(statement, key) && run_write(statement);
}

void *open_key(uint32_t scope, const char *text, bool make) {
  if (!text) return nullptr;
  Session session;
  if (make ? !may_write() : !use_store(false)) return nullptr;
  Key *key = make_key(scope, text);
  if (!key) return nullptr;
  if (make ? make_key_row(*key) : key_exists(*key)) {
    Q7AddTail(open_keys(), &key->link);
    return key;
  }
  free_key(key);
  return nullptr;
}

// Calls take(statement) on the row of a value; false when there is none or take refuses its type.
template <class Take>
bool read_value(void *handle, const char *name, Take take) {
  Session session;
  Key *key = as_key(handle);
  if (!key || !name || !use_store(false)) return false;
  sqlite3_stmt *statement = db.statements[kReadValue];
  int code = bind_key(statement, *key) ? sqlite3_bind_text(statement, 3, name, -1, SQLITE_STATIC) : SQLITE_NOMEM;
  if (code == SQLITE_OK) code = sqlite3_step(statement);
  bool found = code == SQLITE_ROW && take(statement);
  reset(statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) step_failed(code, kCannotRead, "Cannot read the settings");
  return found;
}

template <class Bind>
bool write_value(void *handle, const char *name, Bind bind) {
  Session session;
  Key *key = as_key(handle);
  if (!key || !name || !may_write()) return false;
  sqlite3_stmt *statement = db.statements[kWriteValue];
  if (bind_key(statement, *key) && sqlite3_bind_text(statement, 3, name, -1, SQLITE_STATIC) == SQLITE_OK &&
      bind(statement) == SQLITE_OK) {
    return run_write(statement);
  }
  reset(statement);
  step_failed(SQLITE_NOMEM, kCannotWrite, "Cannot write the settings");
  return false;
}

// A number as C writes it, whatever the process's locale; nothing but blanks may follow.
bool parse_number(const char *text, double *value) {
  locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
  if (!c) return false;
  char *end = nullptr;
  double number = strtod_l(text, &end, c);
  freelocale(c);
  if (end == text || end[strspn(end, " \t\r\n")]) return false;
  *value = number;
  return true;
}

}  // namespace

namespace q7posix {

void close_settings() {
  Session session;
  if (db.groups && db.database && db.owner == getpid()) {
    sqlite3_exec(db.database, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  db.groups = 0;
  db.group_failed = false;
  close_store();
  while (Q7Node *key = Q7RemHead(open_keys())) free_key(reinterpret_cast<Key *>(key));
  db.reported = 0;
  *db.path = 0;
}

}  // namespace q7posix

void *Q7AppOpenRegistry(Q7App *, uint32_t scope, const char *key) { return open_key(scope, key, false); }

void *Q7AppCreateRegistry(Q7App *, uint32_t scope, const char *key) { return open_key(scope, key, true); }

int32_t Q7AppCloseRegistry(Q7App *, void *handle) {
  Session session;
  Key *key = as_key(handle);
  if (!key) return 0;
  Q7Remove(&key->link);
  free_key(key);
  return 1;
}

int32_t Q7AppReadRegistry(Q7App *, void *key, const char *name, char *buffer) {
  return buffer && read_value(key, name, [&](sqlite3_stmt *row) {
           if (sqlite3_column_type(row, 0) != SQLITE_TEXT) return false;
           auto *text = reinterpret_cast<const char *>(sqlite3_column_text(row, 0));
           if (!text) return false;
           size_t length = strnlen(text, kTextSize - 1);
           memcpy(buffer, text, length);
           buffer[length] = 0;
           return true;
         });
}

int32_t Q7AppReadRegistryInt(Q7App *, void *key, const char *name, int32_t *value) {
  return value && read_value(key, name, [&](sqlite3_stmt *row) {
           if (sqlite3_column_type(row, 0) != SQLITE_INTEGER) return false;
           *value = static_cast<int32_t>(sqlite3_column_int64(row, 0));
           return true;
         });
}

int32_t Q7AppReadRegistryFloat(Q7App *, void *key, const char *name, double *value) {
  return value && read_value(key, name, [&](sqlite3_stmt *row) {
           int type = sqlite3_column_type(row, 0);
           if (type == SQLITE_INTEGER || type == SQLITE_FLOAT) {
             *value = sqlite3_column_double(row, 0);
             return true;
           }
           auto *text = type == SQLITE_TEXT ? reinterpret_cast<const char *>(sqlite3_column_text(row, 0)) : nullptr;
           return text && parse_number(text, value);
         });
}

int32_t Q7AppWriteRegistryInt(Q7App *, void *key, const char *name, int32_t value) {
  return write_value(key, name, [&](sqlite3_stmt *row) { return sqlite3_bind_int(row, 4, value); });
}

int32_t Q7AppWriteRegistryString(Q7App *, void *key, const char *name, const char *text) {
  return text &&
         write_value(key, name, [&](sqlite3_stmt *row) { return sqlite3_bind_text(row, 4, text, -1, SQLITE_STATIC); });
}

int32_t Q7AppBeginRegistryWrite(Q7App *, uint32_t) {
  Session session;
  if (db.groups > 0 && db.database && db.owner != getpid()) db.groups = 0;
  if (db.groups++ > 0) return !db.group_failed;
  db.group_failed = false;
  if (use_store(true)) {
    int code = sqlite3_exec(db.database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (code == SQLITE_OK) return 1;
    step_failed(code, kCannotWrite, "Cannot write the settings");
  }
  db.group_failed = true;
  return 0;
}

int32_t Q7AppEndRegistryWrite(Q7App *, uint32_t) {
  Session session;
  if (db.groups == 0) return 0;
  if (db.groups > 1) {
    --db.groups;
    return !db.group_failed;
  }
  bool stored = false;
  if (db.database && db.owner == getpid() && !db.group_failed) {
    int code = sqlite3_exec(db.database, "COMMIT", nullptr, nullptr, nullptr);
    stored = code == SQLITE_OK;
    if (!stored) step_failed(code, kCannotWrite, "Cannot write the settings");
  }
  // A system that ran out of space may have ended the transaction itself.
  if (!stored && db.database && db.owner == getpid() && !sqlite3_get_autocommit(db.database)) {
    sqlite3_exec(db.database, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  db.groups = 0;
  db.group_failed = false;
  return stored;
}
