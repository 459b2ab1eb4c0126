// associations.h: offers the program for opening videos, for the current user. No file type's own
// program is ever changed: this one only adds itself to those that are offered.
#pragma once

namespace velkantrix {

// At every start, so that a program that was moved is found again. What can't be written is passed
// over.
void registerAssociations();

} // namespace velkantrix
