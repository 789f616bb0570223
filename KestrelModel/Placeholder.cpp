// Placeholder until the model types land.
namespace kestrel::model {}
