#include "display/ReferenceTrackDragAndDropTarget.h"

#include "app/Licence.h"
#include "app/MainDisplay.h"
#include "app/Messages.h"
#include "app/Layout.h"
#include "display/EQLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/ModelEQPresets.h"

ReferenceTrackDragAndDropTarget::ReferenceTrackDragAndDropTarget (Model& m) : model (&m)
{
    setName ("Reference Track Drop Area");
    const auto text = juce::Colour (bws::Palette::text);
    statusLabel.setColour (juce::Label::textColourId, text);
    statusLabel.setJustificationType (juce::Justification::centred);
    statusLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (14.0f));
    addAndMakeVisible (statusLabel);

    dropIcon.setImagesFromResources ({ "DropTracks_svg" });
    dropIcon.setSize (layout::dropIconSize, layout::dropIconSize);
    dropIcon.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (dropIcon);

    dropLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Bold)).withHeight (20.0f));
    dropLabel.setColour (juce::Label::textColourId, text);
    dropLabel.setJustificationType (juce::Justification::centred);
    dropLabel.setSize (eqlayout::dropLabelWidth, eqlayout::dropLabelHeight);
    dropLabel.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (dropLabel);

    browseButton.setImagesFromResources ({ "BrowseNormal_svg", "BrowseHover_svg", "BrowseDown_svg", "BrowseDisabled_svg" });
    browseButton.setSize (layout::browseWidth, layout::browseHeight);
    browseButton.addListener (this);
    addAndMakeVisible (browseButton);

    model->addActionListener (this);
    statusLabel.setText (model->userPresetSet ? eqpresets::referenceCompletionText (*model) : juce::String(),
                         juce::dontSendNotification);
}

ReferenceTrackDragAndDropTarget::~ReferenceTrackDragAndDropTarget()
{
    browseButton.removeListener (this);
    model->removeActionListener (this);
}

void ReferenceTrackDragAndDropTarget::loadReference (const juce::String& path)
{
    if (! licence::currentStatus().useAllowed)
        return;
    statusLabel.setText (analysingText, juce::dontSendNotification);
    model->requestLoad (path, true);
}

bool ReferenceTrackDragAndDropTarget::isInterestedInFileDrag (const juce::StringArray& files)
{
    return filedrop::allAudioFiles (files);
}

void ReferenceTrackDragAndDropTarget::takeFiles (const juce::StringArray& paths)
{
    const auto folder = paths.isEmpty() ? juce::String() : juce::File (paths[paths.size() - 1]).getParentDirectory().getFullPathName();
    if (folder.isNotEmpty())
        model->lastAccessedReferenceTrackDirectory = folder;
    // A cancelled chooser gives no file, and an empty path goes to the queue as it stands.
    loadReference (paths.isEmpty() ? juce::String() : paths[0]);
}

void ReferenceTrackDragAndDropTarget::filesDropped (const juce::StringArray& files, int, int)
{
    takeFiles (files);
}

void ReferenceTrackDragAndDropTarget::buttonClicked (juce::Button* button)
{
    if (button != &browseButton)
        return;
    const auto start = juce::File::isAbsolutePath (model->lastAccessedReferenceTrackDirectory)
                           ? juce::File (model->lastAccessedReferenceTrackDirectory)
                           : juce::File();
    chooser = std::make_unique<juce::FileChooser> (chooserTitle, start, chooserPattern, true);
    const int chooserFlags = juce::FileBrowserComponent::openMode | juce::FileBrowserComponent::canSelectFiles
                      | juce::FileBrowserComponent::canSelectMultipleItems;
    chooser->launchAsync (chooserFlags, [weak = juce::WeakReference<ReferenceTrackDragAndDropTarget> (this)] (const juce::FileChooser& fc)
                          {
                              juce::StringArray paths;
                              for (const auto& file : fc.getResults())
                                  paths.add (file.getFullPathName());
                              if (auto* target = weak.get())
                                  target->takeFiles (paths);
                          });
}

void ReferenceTrackDragAndDropTarget::actionListenerCallback (const juce::String& message)
{
    const auto load = messages::parseLoadMessage (message, messages::trackWaveformComplete);
    if (! load.has_value())
        return;
    if (eqpresets::takeReferenceAnalysis (*model, load->trackId))
        statusLabel.setText (eqpresets::referenceCompletionText (*model), juce::dontSendNotification);
}

void ReferenceTrackDragAndDropTarget::paint (juce::Graphics& g)
{
    g.fillAll (juce::Colour (bws::Palette::waveformBackground));
}

void ReferenceTrackDragAndDropTarget::resized()
{
    const auto l = eqlayout::referenceDropArea (getWidth());
    dropIcon.setBounds (l.dropIcon);
    dropLabel.setBounds (l.dropLabel);
    browseButton.setBounds (l.browseButton);
    statusLabel.setBounds (l.statusLabel);
}
