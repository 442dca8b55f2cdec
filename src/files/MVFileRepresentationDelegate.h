#pragma once

#include "platform/MVError.h"

#include <QString>

#include <memory>
#include <vector>

class MVFile;
class MVFileRepresentation;

// What a representation (one place where a file exists) reports to and asks of
// its node. A representation may report at once, inside the request, or later
// on the main thread; the node cannot tell which.
class MVFileRepresentationDelegate
{
public:
    using RepresentationList = std::vector<std::shared_ptr<MVFileRepresentation>>;

    virtual ~MVFileRepresentationDelegate() = default;

    virtual int typeForFileRepresentation(MVFileRepresentation *rep) = 0;
    virtual QString pathForFileRepresentation(MVFileRepresentation *rep) = 0;
    virtual QString pathFromRootForFileRepresentation(MVFileRepresentation *rep) = 0;
    virtual QString pathFromRootForPath(const QString &path) = 0;
    // Where a download goes; empty if no safe place could be made (the download
    // must then fail).
    virtual QString pathForRemoteFileRepresentation(MVFileRepresentation *rep) = 0;

    virtual void fileRepresentationContentBecameAvailable(MVFileRepresentation *rep) = 0;
    virtual void fileRepresentationContentChangeFinished(MVFileRepresentation *rep) = 0;
    virtual void fileRepresentationHadError(MVFileRepresentation *rep, const MVError &error) = 0;
    virtual void fileRepresentationDidDelete(MVFileRepresentation *rep, bool success) = 0;
    // copy is null if the duplicate could not be made.
    virtual void fileRepresentationDidDuplicate(MVFileRepresentation *rep,
                                                const std::shared_ptr<MVFileRepresentation> &copy) = 0;
    virtual void fileRepresentationDidMove(MVFileRepresentation *rep, bool success,
                                           const std::shared_ptr<MVFile> &context) = 0;
    virtual void fileRepresentationDidMoveToTrash(MVFileRepresentation *rep, bool success) = 0;
    virtual void fileRepresentationDidRename(MVFileRepresentation *rep, bool success,
                                             const std::shared_ptr<MVFile> &context) = 0;
    // A listing that failed is never reported: these lists are complete.
    virtual void fileRepresentationDidLoadChildren(MVFileRepresentation *rep, const RepresentationList &children) = 0;
    virtual void fileRepresentationDidReloadChildren(MVFileRepresentation *rep, const RepresentationList &children) = 0;
};
