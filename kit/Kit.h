#pragma once

// The whole widget kit and its looks in one include.
#include "Palette.h"
#include "Resources.h"
#include "SVGButton.h"
#include "ClippedPNGButton.h"
#include "DisabledCover.h"
#include "UtilitiesMenu.h"
#include "BrenwickSoundLogo.h"
#include "XButton.h"
#include "HelpWindow.h"
#include "SettingsWindow.h"
#include "AnimatedButton.h"
#include "OrvaneLookandFeel.h"
#include "ScrollbarLNF.h"
#include "PopupLookAndFeel.h"
#include "TooltipLookAndFeel.h"
#include "SettingsLookandFeel.h"
