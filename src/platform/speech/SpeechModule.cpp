// The factory of pictavia-speech.so: speech recognised on this machine with PocketSphinx.

#include "platform/modules/ModuleExport.h"
#include "platform/speech/PocketSphinxRecognizer.h"

PICTAVIA_MODULE_EXPORT platform::SpeechRecognizer* pictavia_create_speech_recognizer() {
    return new platform::speech::PocketSphinxRecognizer;
}
