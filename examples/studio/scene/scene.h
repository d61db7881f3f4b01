/* scene: what the plug-in libq7scene.so adds to a host: the classes of a scene. A scene is a group; a group holds
 * nodes (groups, meshes, cameras, lights, materials), which have a place in it. Everything is an object of the object
 * system: made by Q7ObjectCreate, changed through public attributes, saved and loaded through object streams.
 *
 * A place is an origin, an orientation and a scale. The orientation is heading, pitch and bank in degrees: a node that
 * is not turned looks along +Z with +Y up (math/q7angles.h has the senses of turning). Colours have three channels,
 * nominally 0 to 1. Numbers that are not finite are refused; others are brought into the range stated here.
 *
 * Main thread. The triangles of a mesh may be read on any thread while nobody changes it. */
#ifndef Q7_EXAMPLES_SCENE_H
#define Q7_EXAMPLES_SCENE_H

#include "core/q7oops.h"
#include "math/q7coordsys.h"

Q7_BEGIN_DECLS

/** Class ids. */
enum {
  Q7C_NODE = 4200,     /**< "node", superclass the root class: a place; no use of its own. */
  Q7C_GROUP = 4201,    /**< "group": nodes that move together. */
  Q7C_MESH = 4202,     /**< "mesh": triangles. */
  Q7C_CAMERA = 4203,   /**< "camera": looks along its Z axis. */
  Q7C_LIGHT = 4204,    /**< "light": shines from its origin. */
  Q7C_MATERIAL = 4205, /**< "material": meshes name one; its place is that of its texture. */
  Q7C_SCENE = 4206     /**< "scene", a group: what is rendered. */
};

/** Methods and attributes of every node. Types as in core/q7typeid.h; vectors and doubles are set by address. */
enum {
  Q7M_NODE_TURN = 4200001,    /**< a: const Q7Vector *, axis; slot: const double *, degrees: turns the node about an
                                 axis of the group it is in, clockwise seen from the axis's tip. 1. */
  Q7M_NODE_LOOK_AT = 4200002, /**< Slot: const Q7Vector *, a point in the group: looks at it, without bank. 1. */
  Q7A_NODE_ORIGIN = 4200500,  /**< "Origin": vector. */
  Q7A_NODE_ANGLES = 4200501,  /**< "Angles": vector of heading, pitch, bank, degrees. */
  Q7A_NODE_SCALE = 4200502,   /**< "Scale": vector; 1, 1, 1 at first. */
  Q7A_NODE_PARENT = 4200503,  /**< "Parent": the group it is in, or null. Setting moves it there; null takes it out. */
  Q7A_NODE_QUATERNION = 4200504, /**< "Quaternion": the orientation as x, y, z, w. */
  Q7A_NODE_FRAME = 4200505,      /**< get: Q7CoordSys, its place in the group. */
  Q7A_NODE_WORLD = 4200506,      /**< get: Q7CoordSys, its place in the outermost group. */
  Q7A_NODE_TARGET = 4200507      /**< "Target": vector. set: looks at it; get: a point that it looks at. */
};

/** Of a group. Its members are referenced; groups nest Q7GROUP_MAX_DEPTH deep. The messages of the root class that link
 * and unlink an object (11, 12, 13, 32, tag 524) do for its list of members what Q7M_GROUP_ADD and Q7M_GROUP_REMOVE do.
 */
enum {
  Q7M_GROUP_ADD = 4201001, /**< Slot: the node: appends it, taking it from the group it was in. 1; 0, reported, for
                              what is no node, for a circle and for too deep a nesting. */
  Q7M_GROUP_REMOVE =
      4201002,              /**< Slot: the node: takes it out and gives the reference back. 1; 0 if it is no member. */
  Q7M_GROUP_FIND = 4201003, /**< a: class id; slot: name, null for any: the first node of that kind and name in the
                               group and the groups in it; null if there is none. */
  Q7A_GROUP_MEMBERS = 4201500, /**< "Members": get: Q7List * of the nodes. */
  Q7GROUP_MAX_DEPTH = 64
};

/** Triangles as flat arrays. */
typedef struct Q7MeshData {
  float *points;     /**< Three coordinates a point. */
  uint32_t *corners; /**< Three points a triangle, counterclockwise seen from outside. */
  uint32_t point_count;
  uint32_t triangle_count;
} Q7MeshData;

/** Of a mesh. */
enum {
  Q7A_MESH_MATERIAL = 4202500, /**< "Material": text, name of a material of the scene; empty: plain white. */
  Q7A_MESH_SMOOTH = 4202501, /**< "Smooth": int32_t, 1: shaded as a smooth surface, 0 (at first): as flat triangles. */
  Q7A_MESH_DATA = 4202502,   /**< Address of a Q7MeshData. set: takes the blocks over (Q7AllocMem), also when they are
                                refused, reported, for a corner that is no point or a coordinate that is not finite.
                                get: the mesh's own blocks. */
  Q7A_MESH_TRIANGLES = 4202503, /**< "Triangles": get: int32_t. */
  Q7A_MESH_POINTS = 4202504,    /**< "Points": get: int32_t. */
  Q7MESH_MAX_POINTS = 100000000 /**< Points, and triangles, of one mesh at most. */
};

/** Of a camera. */
enum { Q7A_CAMERA_VIEW = 4203500 /**< "View": double, degrees from left to right, 1 to 170; 40 at first. */ };

/** Of a light. */
enum {
  Q7A_LIGHT_COLOR = 4204500, /**< "Color". */
  Q7A_LIGHT_POWER = 4204501, /**< "Power": double, 0 to 1e6; 1 at first: the light on a surface that faces it. */
  Q7A_LIGHT_RADIUS = 4204502 /**< "Radius": double, 0 to 1e6: of the sphere that shines; above 0 shadows are soft. */
};

/** Solid textures of a material: how much of the second colour is where. */
enum { Q7TEXTURE_PLAIN = 0, Q7TEXTURE_CLOUDS = 1, Q7TEXTURE_MARBLE = 2, Q7TEXTURE_WOOD = 3, Q7TEXTURE_CELLS = 4 };

/** Of a material. */
enum {
  Q7A_MATERIAL_COLOR = 4205500,      /**< "Color". */
  Q7A_MATERIAL_SECOND = 4205501,     /**< "Second": the texture's second colour. */
  Q7A_MATERIAL_TEXTURE = 4205502,    /**< "Texture": int32_t, Q7TEXTURE_... */
  Q7A_MATERIAL_OCTAVES = 4205503,    /**< "Octaves": double, 1 to 16: detail of the texture; 4 at first. */
  Q7A_MATERIAL_GLOSS = 4205504,      /**< "Gloss": double, 0 to 1: strength of highlights. */
  Q7A_MATERIAL_SHINE = 4205505,      /**< "Shine": double, 1 to 10000: how small they are; 40 at first. */
  Q7A_MATERIAL_MIRROR = 4205506,     /**< "Mirror": double, 0 to 1: how much is reflected. */
  Q7A_MATERIAL_HUE = 4205507,        /**< "Hue": double, 0 to 1, of Color; the other two likewise. */
  Q7A_MATERIAL_SATURATION = 4205508, /**< "Saturation". */
  Q7A_MATERIAL_BRIGHTNESS = 4205509  /**< "Brightness". */
};

/** Of a scene. */
enum {
  Q7A_SCENE_SKY = 4206500,     /**< "Sky": colour overhead. */
  Q7A_SCENE_HORIZON = 4206501, /**< "Horizon": colour of the sky at the horizon and below. */
  Q7A_SCENE_AMBIENT = 4206502, /**< "Ambient": light that comes from everywhere. */
  Q7A_SCENE_SAMPLES = 4206503, /**< "Samples": int32_t, 1 to 1024: rays a pixel. */
  Q7A_SCENE_BOUNCES = 4206504, /**< "Bounces": int32_t, 0 to 16: reflections of reflections. */
  Q7A_SCENE_CAMERA = 4206505   /**< "Camera": text, name of the camera that is used; empty: the first. */
};

Q7_END_DECLS

#endif
