/* q7transf: the transfer class, which downloads what a URL names into a local file.
 *
 * CERTIFICATES ARE NOT CHECKED. Neither the certificate nor the host name of an https server is verified: the class was
 * made for downloads from hosts inside studios that sign their certificates themselves. A download proves nothing about
 * where the bytes come from, and whoever sits between the two ends can replace them. Check what was downloaded (by a
 * signature or a checksum that came another way) before anything is run or trusted.
 *
 * The answer of an http server is taken as it comes: redirects are not followed, and the body that comes with "404 Not
 * Found" is a body like any other.
 *
 * A download runs on the thread that sends it and returns when it is over; several transfer objects may download at the
 * same time, each on its own thread (an executor's, for example). A transfer object that is downloading must not be
 * disposed of. */
#ifndef Q7_IO_Q7TRANSF_H
#define Q7_IO_Q7TRANSF_H

#include "core/q7oops.h"

Q7_BEGIN_DECLS

/** Class id of the transfer class; superclass the root class. */
enum { Q7C_TRANSFER = 3034 };

/** Methods of a transfer object. */
enum {
  /**
   * a: name of the local file, which is made or overwritten. Answers 1 when at least one byte was received, also when
   * the transfer was cut off or could not be stored afterwards, which the reported result tells; else 0, and the file
   * is removed. 0 without a report when the file cannot be opened; nothing is asked of the server then.
   */
  Q7M_TRANSFER_DOWNLOAD = 3034000,
  /**
   * Slot: a result code of libcurl (int32_t). Reports its text as an error of module q7transf, with a line number of
   * its own for every code, ascending with the code; nothing for 0. A download that fails sends it to its own object,
   * so a subclass learns the code here. Answers 0.
   */
  Q7M_TRANSFER_REPORT = 3034001
};

/** Attributes of a transfer object. */
enum {
  Q7A_TRANSFER_URL = 3034500,     /**< set: text, copied; only its first 255 characters are kept, null empties it.
                                     get: the object's own text. */
  Q7A_TRANSFER_PROGRESS = 3034501 /**< set, get: the progress object, referenced; may be null. */
};

/** What a progress object is sent, on the thread of the download. */
enum {
  Q7M_PROGRESS_POSITION = 247000, /**< Slot: 0 to the maximum; the percentage that has arrived. An answer other than 0
                                     stops the download; only that to the first position, 0, is not looked at. */
  Q7M_PROGRESS_MAXIMUM = 247001,  /**< Slot: 100. */
  Q7M_PROGRESS_DONE = 247002      /**< The download is over, whatever came of it. */
};

/** Registers class 3034, and the root class before it, once an application. @return 1; 0 when out of memory or locks */
Q7_API int32_t Q7RegisterTransferClass(Q7App *app);

Q7_END_DECLS

#endif
