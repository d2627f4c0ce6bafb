// The factories of pictavia-ocr.so: text recognition with Tesseract, barcodes with ZXing.

#include "platform/modules/ModuleExport.h"
#include "platform/ocr/TesseractEngine.h"
#include "platform/ocr/ZxingBarcodeReader.h"

PICTAVIA_MODULE_EXPORT platform::TextRecognitionEngine* pictavia_create_text_recognition() {
    return new platform::ocr::TesseractEngine;
}

PICTAVIA_MODULE_EXPORT platform::BarcodeReader* pictavia_create_barcode_reader() {
    return new platform::ocr::ZxingBarcodeReader;
}
