#include "files/MVFileView.h"

#include "files/MVFileDocument.h"
#include "files/MVImageFileView.h"
#include "files/MVTextFileView.h"

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
