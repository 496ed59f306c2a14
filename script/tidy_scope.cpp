// Lets the checks of clang-tidy see our declarations and not those of the system's headers, of
// which it says nothing anyway: those take most of its time. script/tidy builds it.

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/FrontendPluginRegistry.h>

#include <memory>
#include <string>
#include <vector>

namespace {

class Scope : public clang::ASTConsumer {
public:
    void HandleTranslationUnit(clang::ASTContext& context) override
    {
        std::vector<clang::Decl*> ours;
        for (clang::Decl* declaration : context.getTranslationUnitDecl()->decls()) {
            if (!context.getSourceManager().isInSystemHeader(declaration->getLocation())) {
                ours.push_back(declaration);
            }
        }
        context.setTraversalScope(ours);
    }
};

class Plugin : public clang::PluginASTAction {
public:
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance&,
                                                          llvm::StringRef) override
    {
        return std::make_unique<Scope>();
    }

    bool ParseArgs(const clang::CompilerInstance&, const std::vector<std::string>&) override
    {
        return true;
    }

    ActionType getActionType() override { return AddBeforeMainAction; }
};

const clang::FrontendPluginRegistry::Add<Plugin> REGISTERED("tidy-scope", "");

} // namespace
