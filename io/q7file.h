/* q7file: the file class, the one stream type: a disk file or a TCP connection behind one set of methods. Values are
 * stored in the host's byte order; chunked files (q7iff.h) are a subclass that stores them highest byte first. As a
 * class it also answers requests to the file system.
 *
 * Where a method's arguments go: one argument is in the tag-list slot, as a plain value, address or tag list, as said
 * below. A failed operation leaves its error id in attribute Q7A_FILE_ERROR until the next one; errors are not
 * reported. Null addresses and class records as receivers are refused with 0; on a closed stream every operation fails.
 *
 * What a successful flush or close has confirmed was handed to the system; once a write was lost, every later flush and
 * close of that stream fails. A stream is used by one thread at a time. */
#ifndef Q7_IO_Q7FILE_H
#define Q7_IO_Q7FILE_H

#include "core/q7oops.h"
#include "io/q7fcm.h"

Q7_BEGIN_DECLS

/** Tags: attributes at creation (Q7M_NEW) and re-opening (Q7M_FILE_OPEN), and arguments of methods. */
enum {
  Q7A_FILE_NAME = 5501,        /**< File name; below 256 characters. get: the path that was opened. */
  Q7A_FILE_MODE = 5502,        /**< Mode text of fopen; on a connection "c..." client or "s..." server. get: it. */
  Q7A_FILE_LENGTH = 5503,      /**< Argument: bytes to move, or room of the buffer. */
  Q7A_FILE_BUFFER = 5504,      /**< Argument: where the bytes are. get: the room of the last block read without one. */
  Q7A_FILE_ORIGIN = 5505,      /**< Argument of seek: SEEK_SET (default), SEEK_CUR, SEEK_END. */
  Q7A_FILE_OFFSET = 5506,      /**< Argument of seek: signed 64-bit offset, 0 by default. */
  Q7A_FILE_SEARCH_PATH = 5507, /**< Folders separated by ";", tried in turn when the name does not open as given. */
  Q7A_FILE_OPENED_PATH = 5508, /**< Buffer of 256 bytes that receives the path that was opened. */
  Q7A_FILE_DESTINATION = 5509, /**< Argument of formatted read: one destination. */
  Q7A_FILE_HOST = 5510,        /**< Host name or address; makes the object a connection. Null or "": on a server every
                                    IPv4 address, on a client this machine. A server listens on one address of the
                                    host, an IPv4 one if there is any. */
  Q7A_FILE_PORT = 5511, /**< Port (32-bit); 0 lets a server pick a free one. get: the port bound here (int32_t). */
  Q7A_FILE_CONNECT_TIME = 5512, /**< Seconds that connecting may take; the socket time-out by default. */
  Q7A_FILE_BOUND_PORT = 5513,   /**< Address of an int32_t that receives the port bound on this side. */
  Q7A_FILE_COUNT = 5514,        /**< Argument: address of an int32_t that receives the bytes moved. */
  Q7A_FILE_TIMEOUT = 5515, /**< Class attribute: seconds (int32_t) that any wait for a peer may take, 60 by default;
                                0: only what is ready. Also gettable on an object. Kept in the settings store. */
  Q7A_FILE_PEER = 5516,    /**< Buffer of 64 bytes that receives the peer's address as numbers. get: the address of the
                                client or the accepted connection as a text of the object. */
  Q7A_FILE_SYSTEM_ERROR = 5517, /**< Address of an int32_t that receives errno of a failed opening. get: errno of the
                                   last failure (int32_t). */
  Q7A_FILE_DEAD = 5518,         /**< get: 1 when reading the connection would stop the process, else 0 (int32_t). */
  Q7A_FILE_ERROR = 512 /**< Address of an int32_t that receives the error id of a failed opening. get: the error
                            id (int32_t), Q7FE_... or 0 before the first failure. */
};

/** Error ids; their texts are in the error database. */
enum {
  Q7FE_NONE = 5500,
  Q7FE_NOT_FOUND = 5501, /**< Also: nothing could be opened. */
  Q7FE_PERMISSION = 5502,
  Q7FE_DIRECTORY = 5503,
  Q7FE_READ_ONLY = 5504,
  Q7FE_TRUNCATED = 5505,
  Q7FE_TOO_BIG = 5506,
  Q7FE_DISK_FULL = 5507,
  Q7FE_UNKNOWN = 5508,
  Q7FE_TIMEOUT = 5509
};

/** Methods of a file object. "1" stands for success, 0 for failure, unless said otherwise. */
enum {
  Q7M_FILE_READ = 5000,         /**< Tags BUFFER, LENGTH, COUNT: reads a block; 1 if all was read. Without a buffer the
                                     bytes (at most Q7SOCKET_BLOCK) go to a room of the object, attribute BUFFER. */
  Q7M_FILE_READ32 = 5001,       /**< Address: 4 bytes. */
  Q7M_FILE_READ16 = 5002,       /**< Address: 2 bytes. */
  Q7M_FILE_READ_DOUBLE = 5003,  /**< Address: 8 bytes. */
  Q7M_FILE_READ_STRING = 5004,  /**< Tags BUFFER, LENGTH (1024): reads up to a zero byte; the count of characters. Of a
                                     longer text the rest stays unread; at the end of the file the error is 5505. */
  Q7M_FILE_WRITE = 5005,        /**< Tags BUFFER, LENGTH, COUNT: writes a block. */
  Q7M_FILE_WRITE32 = 5006,      /**< Value: 32 bits. */
  Q7M_FILE_WRITE16 = 5007,      /**< Value: 16 bits. */
  Q7M_FILE_WRITE_DOUBLE = 5008, /**< Address of a double. */
  Q7M_FILE_WRITE_STRING = 5009, /**< Text, written with its zero; null is the empty text. */
  Q7M_FILE_SEEK = 5010,         /**< Tags OFFSET, ORIGIN: what fseek answers; 0 on a connection, where nothing moves. */
  Q7M_FILE_DELETE = 5011,       /**< Closes and deletes the file and disposes of the object; 0. */
  Q7M_FILE_TELL = 5012,         /**< The position, -1 on failure; reported and 0 on a connection. */
  Q7M_FILE_READ_LINE = 5013,    /**< Tags BUFFER, LENGTH (1024): as fgets; the buffer or null. */
  Q7M_FILE_SCAN = 5014,      /**< a: format; slot: up to ten DESTINATION tags: as fscanf. An eleventh, or fewer than the
                                  format has use for, is reported, reads nothing and answers 0. */
  Q7M_FILE_FLUSH = 5015,     /**< 0 on success, -1 on failure. */
  Q7M_FILE_HAS_ERROR = 5016, /**< As ferror; on a connection whether it is dead. */
  Q7M_FILE_PUT = 5017,       /**< Character: as putc. */
  Q7M_FILE_READ_ITEMS = 5018,  /**< a: size; b: count; slot: buffer: the count read. */
  Q7M_FILE_WRITE_ITEMS = 5019, /**< a: size; b: count; slot: buffer: the count written. */
  Q7M_FILE_GET = 5020,         /**< As getc; -1 at the end. */
  Q7M_FILE_WRITE_TEXT = 5021,  /**< Text, written without its zero. */
  Q7M_FILE_ERROR_TEXT = 5022,  /**< a: error id; b: buffer of 512 bytes; slot: argument (a text for %s): the formatted
                                    error text; 0 and the empty text for an unknown id. */
  Q7M_FILE_ACCEPT = 5023,      /**< Accepts one connection on a server; an accepted one is closed first. */
  Q7M_FILE_CLOSE_ACCEPTED = 5024, /**< Flushes and closes the accepted connection. */
  Q7M_FILE_WRITE32_B = 5025,      /**< As Q7M_FILE_WRITE32. */
  Q7M_FILE_READ32_B = 5026,       /**< As Q7M_FILE_READ32. */
  Q7M_FILE_WRITE8 = 5033,         /**< Value: one byte. */
  Q7M_FILE_READ8 = 5034,          /**< Address: one byte. */
  Q7M_FILE_OPEN = 5037,    /**< Tags of the creation: closes what is open and opens anew; 1. The object stays when it
                                fails. */
  Q7M_FILE_CLOSE = 5038,   /**< Closes the stream and keeps the object; 0 if what was written may be lost. */
  Q7M_FILE_WRITE64 = 5039, /**< Value: 64 bits. */
  Q7M_FILE_READ64 = 5040,  /**< Address: 8 bytes. */
  Q7M_FILE_WAIT = 5043,    /**< a: 0 readable, else writable: waits for the active socket; 1 ready, 0 time-out, -1. */
  Q7M_FILE_WRITE_SIZE = 5045, /**< a: a 64-bit value. Chunked files only; reported and 0 here. */
  Q7M_FILE_READ_SIZE = 5046,  /**< Address of 64 bits. Chunked files only; reported and 0 here. */
  Q7M_FILE_WRITE_COUNTED =
      5047, /**< Text below 65535 characters: 16-bit length with the zero, then the text and the zero. */
  Q7M_FILE_READ_COUNTED = 5048, /**< a: room of the buffer, 0 for 65535; slot: buffer: a text of method 5047. A longer
                                   text or one without its zero fails, the buffer then ends in a zero all the same. */
  Q7M_FILE_EXISTS = 5049        /**< Whether the object's own path exists. */
};

/** Methods of the class record: requests to the file system and to the naming service. */
enum {
  Q7M_FILE_STATUS = 5027,      /**< a: path; slot: Q7FileStatus to fill. */
  Q7M_FILE_RENAME = 5028,      /**< a: old name; slot: new name. */
  Q7M_FILE_REMOVE = 5029,      /**< Slot: path of a file. */
  Q7M_FILE_HOST_NAME = 5030,   /**< a: room (32-bit); slot: buffer for the name of this machine. */
  Q7M_FILE_MAKE_FOLDER = 5031, /**< Slot: path with at least one "/"; missing parents behind the first "/" are made too.
                                  0 also when the folder exists already. */
  Q7M_FILE_COPY = 5032,        /**< a: source; slot: destination; "<destination>_temp" is used on the way. */
  Q7M_FILE_REMOVE_FOLDER = 5035, /**< Slot: path of an empty folder. */
  Q7M_FILE_IS_FOLDER = 5036,     /**< Slot: path: whether it is a folder. */
  Q7M_FILE_HOST_IP = 5041,       /**< Slot: host name: as Q7GetHostIp. */
  Q7M_FILE_HOST_OF_IP =
      5042, /**< a: IPv4 address in network byte order; slot: buffer of 256 bytes for the host's name. */
  Q7M_FILE_CURRENT_FOLDER = 5044 /**< a: room (32-bit); slot: buffer for the current working folder. */
};

/** Registers the file class (5, "q7file") once an application, with the root class and the error database, and its
 * error texts. @return 1, or 0 */
Q7_API int32_t Q7RegisterFileClass(Q7App *app);

/**
 * Opens a file object as its tags say: what creation and method Q7M_FILE_OPEN do. Called by classes above that make
 * their objects in another way.
 * @param cl the file class's record
 * @param is_new the object was just made: it is disposed of when nothing opens. Otherwise what is open is closed first.
 * @return 1; 0 if nothing could be opened or the stream that was open could not be written out
 */
Q7_API int32_t Q7FileOpen(Q7Class *cl, Q7Object *object, Q7TagItem *tags, int32_t is_new);

Q7_END_DECLS

#endif
