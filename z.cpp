extern "C" unsigned long v0(const void*,unsigned,unsigned long f){return f;}
