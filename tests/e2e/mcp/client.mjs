// An MCP client as AI applications use it: starts pictavia-mcp (given as the argument)
// over stdio with a client's bare environment, runs the protocol's housekeeping and one
// tool call, and prints what came back as one JSON object.
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const transport = new StdioClientTransport({
  command: process.argv[2],
  env: { HOME: process.env.HOME, PATH: process.env.PATH, USER: "tester" },
  stderr: "inherit",
});
const client = new Client({ name: "claude-code", version: "1.0.0" });
const report = {};
try {
  await client.connect(transport);
  report.server = client.getServerVersion();
  report.capabilities = client.getServerCapabilities();
  report.instructions = client.getInstructions();
  report.ping = await client.ping();
  report.tools = await client.listTools();
  report.call = await client.callTool({ name: "take_screenshot", arguments: { target: "screen" } });
  report.resources = await client.listResources();
  report.prompts = await client.listPrompts();
} catch (error) {
  report.error = String(error);
}
await client.close();
console.log(JSON.stringify(report));
