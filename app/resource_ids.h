// resource_ids.h: the numbers of the program's resources, for the code and for the resource
// compiler.
#pragma once

#define ICON_ID 1
