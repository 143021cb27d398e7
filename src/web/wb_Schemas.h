// What the service's resources are made of: the standard's schemas, and our own.
#pragma once

#include <string>
#include <vector>

namespace services::web {

/// A schema that some resource goes by.
struct SchemaFile {
  std::string id;     ///< "Manager.v1_20_0"
  std::string type;   ///< "Manager.v1_20_0.Manager"
  std::string place;  ///< where it can be had: our own path, or the standard's address
  bool isOwn;
};

/// One for each type of the resources' table, and for what they hold of our own.
const std::vector<SchemaFile>& schemaFiles();

/// The document "$metadata": which schemas there are (OData CSDL, XML).
std::string metadata();

/// Our own schema of a name, such as "McDaemon_v1.xml" (CSDL) or "McDaemon.v1_0_0.json"; empty when
/// there is none.
std::string ownSchema(const std::string& file);

}  // namespace services::web
