#include "app/LevelCheckApplication.h"

START_JUCE_APPLICATION (LevelCheckApplication)
