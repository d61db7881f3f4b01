// q7mxgad: the classes that only mark a kind. They have neither data nor dispatchers.
#include "ui/q7mxgad.h"

#include "core/classdef.hpp"

namespace {

constexpr q7::ClassDef mx_class = {
    .id = Q7C_MXGADGET, .super = Q7C_GADGET, .name = "q7mxgad", .needs = Q7RegisterGadgetClass};
constexpr q7::ClassDef mxilt_class = {
    .id = Q7C_MXILTGADGET, .super = Q7C_MXGADGET, .name = "q7mxiltg", .needs = Q7RegisterMxGadgetClass};
constexpr q7::ClassDef selectable_class = {.id = Q7C_SLCTBL, .super = Q7C_ROOT, .name = "q7slctbl"};

}  // namespace

int32_t Q7RegisterMxGadgetClass(Q7App *app) { return q7::register_once(app, mx_class); }
int32_t Q7RegisterMxIltGadgetClass(Q7App *app) { return q7::register_once(app, mxilt_class); }
int32_t Q7RegisterSlctblClass(Q7App *app) { return q7::register_once(app, selectable_class); }
