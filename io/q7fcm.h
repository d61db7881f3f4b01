/* q7fcm: requests to the file system and the naming service that need no open file: what the file class answers as a
 * class, message to Q7ClassFind(Q7C_FILE) (q7file.h lists the methods), and the same as functions. Paths are in the
 * library's form and converted with Q7FileNameToNative. Paths of 512 characters or more, and null ones, fail. */
#ifndef Q7_IO_Q7FCM_H
#define Q7_IO_Q7FCM_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** What method Q7M_FILE_STATUS fills: 16 bytes. */
typedef struct Q7FileStatus {
  uint64_t size;     /**< Bytes. */
  uint32_t changed;  /**< Time of the last change of the file's entry, seconds since 1970. */
  uint32_t modified; /**< Time of the last change of its content, seconds since 1970. */
} Q7FileStatus;

/** Whether something of that name exists; one trailing separator is dropped. Class and method are not looked at.
 * @return 1 or 0 */
Q7_API int32_t q7fcm_exists(Q7Class *cl, uint32_t method, const char *path);

/** IPv4 address of a host in network byte order: the dotted form as it is, else the first address that a look-up gives
 * within the socket time-out. @return 0 if there is none */
Q7_API uint32_t Q7GetHostIp(const char *name);

/**
 * Removes a file whose content is older than `age` seconds; does nothing for skip. Fits Q7ExamineDir, which hands
 * is_folder as skip and the context as age.
 * @param age seconds, a 32-bit number carried in the pointer
 * @return 1, always, so that the walk over a folder goes on
 */
Q7_API int32_t Q7CleanupHook(int32_t skip, const char *path, void *age);

Q7_END_DECLS

#endif
