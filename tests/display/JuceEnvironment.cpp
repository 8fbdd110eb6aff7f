// The display tests set up JUCE's GUI side the same way as the application's tests.
#include "../app/JuceEnvironment.cpp"
