#include "documents/MVFileView.h"

#include "documents/MVFileDocument.h"
#include "documents/MVImageFileView.h"
#include "documents/MVTextFileView.h"

MVFileView::MVFileView(MVFileDocument *document)
    : _document(document)
{
}

MVFileView::~MVFileView() = default;

std::unique_ptr<MVFileView> MVFileView::createViewForDocument(MVFileDocument *document)
{
    const QString path = document->fileName();
    if (MVImageFileView::canDisplayPath(path))
        return std::make_unique<MVImageFileView>(document);
    return std::make_unique<MVTextFileView>(document);
}
